#include "launcher/Outcome.h"

#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <algorithm>
#include <array>

namespace {

struct CodeText
{
    Outcome::Code code;
    /// For programs.
    const char *name;
    /// For --help.
    const char *text;
};

constexpr std::array<CodeText, 9> codes = {{
    {Outcome::Done, "done", "flashed, or the image is valid, or a microphone is plugged in"},
    {Outcome::Failed, "failed", "the microphone reported failure"},
    {Outcome::NoMicrophone, "no-microphone", "no microphone was found, or it could not be opened"},
    {Outcome::ImageRefused, "image-refused", "the image was refused"},
    {Outcome::AnotherUpdater, "another-updater", "another updater is running"},
    {Outcome::NoVerdict, "no-verdict", "no verdict in time; the updater was ended"},
    {Outcome::UpdaterFailed, "updater-failed", "the updater could not be started, or died"},
    {Outcome::WrongUsage, "wrong-usage", "wrong usage"},
    {Outcome::Interrupted, "interrupted", "Ctrl-C twice; the updater was ended"},
}};

/// The state in which an upgrade without a verdict may leave the microphone, and what to do.
QString microphoneState(Progress::Phase phase)
{
    constexpr std::array states = {
        "Nothing was sent. The microphone is unchanged.",
        "The microphone may be in upgrade mode, with its old firmware.",
        "The microphone may be in upgrade mode, with incomplete firmware.",
        "The updater sent the whole image, but the microphone did not report the result. It may "
        "have the new firmware. If it was unplugged meanwhile, it may be in upgrade mode, with "
        "incomplete firmware."};
    const QString state = states.at(static_cast<std::size_t>(phase));
    return phase == Progress::Phase::Starting
               ? state
               : state + " Unplug it, plug it back in and try again.";
}

/// The updater does not distinguish between no microphone and one that does not open.
QString noMicrophone(const QString &imagePath)
{
    const QStringList selected = PluggedIn::idsFor(imagePath);
    QStringList others;
    for (const PluggedIn &each : PluggedIn::all()) {
        if (!selected.contains(each.id())) {
            others += each.id();
            continue;
        }
        // The updater uses the first one.
        return each.openError.isEmpty()
                   ? QStringLiteral("The microphone %1 was not found, but it is plugged in now "
                                    "(%2). Nothing was sent. Try again.")
                         .arg(each.id(), each.node)
                   : QStringLiteral("The microphone %1 is plugged in (%2) but cannot be opened: %3 "
                                    "Nothing was sent.")
                         .arg(each.id(), each.node, each.openError);
    }
    return QStringLiteral("No microphone %1 was found. Nothing was sent. ")
               .arg(selected.join(" or ")) +
           (others.isEmpty() ? "Plug it in and try again."
                             : QStringLiteral("The image's path does not select what is plugged in "
                                              "(%1). Check the path; see velmo-flash --list.")
                                   .arg(others.join(" and ")));
}

} // namespace

const char *Outcome::name() const
{
    return std::find_if(codes.begin(), codes.end(),
                        [this](const CodeText &each) { return each.code == code; })
        ->name;
}

Outcome Outcome::of(const RunResult &run)
{
    const UpdaterLog &log = run.log;
    // For users who also read the result file.
    const char *const warning =
        run.fileVerdict == log.verdict
            ? ""
            : " (The result file says something else: it could not be written, or another updater "
              "has used it since.)";
    // A verdict counts, no matter how the updater ended after it.
    if (log.verdict == UpdaterLog::Verdict::Succeeded)
        return {Done, QString("The microphone was flashed. It can be used now.") + warning};
    if (log.verdict == UpdaterLog::Verdict::Failed) {
        return {Failed, QString("The microphone reported that the upgrade failed. Unplug it, plug "
                                "it back in and try again. If it fails again, check that the image "
                                "is for this microphone.") +
                            warning};
    }
    const QString state = microphoneState(log.phase());
    if (run.ending == Ending::TimedOut) {
        return {NoVerdict, QStringLiteral("No progress for %1 s, so the updater was ended. %2")
                               .arg(run.waitedSeconds)
                               .arg(state)};
    }
    if (run.ending == Ending::Interrupted)
        return {Interrupted, "The updater was ended on request. " + state};
    if (run.ending == Ending::ByItself && run.exitCode == 0) {
        if (!log.hasBegun) {
            return {AnotherUpdater,
                    QStringLiteral("Another updater is running, so this one ended at once. Nothing "
                                   "was sent. Wait until the other one is done and try again. (If "
                                   "none is running, %1 is not the updater.)")
                        .arg(run.updaterPath)};
        }
        if (!log.refusal.isEmpty())
            return imageRefused(run.imagePath, log.refusal);
        if (!log.hasOpened)
            return {NoMicrophone, noMicrophone(run.imagePath)};
    }
    return {
        UpdaterFailed,
        QStringLiteral("The updater %1. Use --log FILE to keep its output. %2%3")
            .arg(run.ending == Ending::Crashed
                     ? "crashed or was killed"
                     : QStringLiteral("ended without a verdict (exit code %1)").arg(run.exitCode),
                 state, warning)};
}

Outcome Outcome::imageRefused(const QString &path, const QString &why)
{
    return {ImageRefused,
            QStringLiteral("The image %1 was refused: %2. Nothing was sent. Check the "
                           "path, or get the image again.")
                .arg(Terminal::printable(path), why)};
}

QString Outcome::codeList()
{
    QString list = "Exit codes:\n";
    for (const CodeText &each : codes)
        list += QString::asprintf("  %-3d  %s\n", each.code, each.text);
    return list;
}
