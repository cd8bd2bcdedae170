#include "launcher/Outcome.h"

#include "launcher/ImageReport.h"
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

/// The updater does not distinguish between no microphone and one that does not open.
Outcome noMicrophone(const QString &imagePath)
{
    QStringList others;
    for (const PluggedIn &each : PluggedIn::all()) {
        if (!each.isSelectedBy(imagePath)) {
            others += each.id();
            continue;
        }
        // The updater uses the first one.
        if (each.openError.isEmpty()) {
            return {
                Outcome::NoMicrophone,
                QStringLiteral("The microphone %1 was not found, but it is plugged in now (%2). "
                               "Nothing was sent. Try again.")
                    .arg(each.id(), each.node)};
        }
        return {Outcome::NoMicrophone,
                QStringLiteral("The microphone %1 is plugged in (%2) but cannot be opened: %3 "
                               "Nothing was sent.")
                    .arg(each.id(), each.node, each.openError)};
    }
    const QString advice = others.isEmpty()
                               ? QStringLiteral("Plug it in and try again.")
                               : QStringLiteral("The image's path does not select what is plugged "
                                                "in (%1). Check the path; see velmo-flash --list.")
                                     .arg(others.join(QLatin1String(" and ")));
    return {Outcome::NoMicrophone, QStringLiteral("No microphone %1 was found. Nothing was sent. ")
                                           .arg(ImageReport::microphoneIds(imagePath)) +
                                       advice};
}

/// A warning for users who also read the result file.
QString resultFileWarning(const Outcome::RunResult &run)
{
    if (run.fileVerdict == run.log.verdict())
        return {};
    return QStringLiteral(" (The result file says something else: it could not be written, or "
                          "another updater has used it since.)");
}

Outcome updaterDied(const Outcome::RunResult &run)
{
    const QString how =
        run.ending == Outcome::Ending::Crashed
            ? QStringLiteral("crashed or was killed")
            : QStringLiteral("ended without a verdict (exit code %1)").arg(run.exitCode);
    return {Outcome::UpdaterFailed, QStringLiteral("The updater %1. Use --log FILE to keep its "
                                                   "output. %2")
                                            .arg(how, Outcome::microphoneState(run.phase)) +
                                        resultFileWarning(run)};
}

/// For an updater that ended by itself with exit code 0 but without a verdict.
Outcome endedWithoutVerdict(const Outcome::RunResult &run)
{
    if (!run.log.hasBegun()) {
        return {Outcome::AnotherUpdater,
                QStringLiteral("Another updater is running, so this one ended at once. Nothing was "
                               "sent. Wait until the other one is done and try again. (If none is "
                               "running, %1 is not the updater.)")
                    .arg(run.updaterPath)};
    }
    if (!run.log.refusal().isEmpty())
        return Outcome::imageRefused(run.imagePath, run.log.refusal());
    return run.log.hasOpened() ? updaterDied(run) : noMicrophone(run.imagePath);
}

} // namespace

QString Outcome::name() const
{
    return QString::fromLatin1(
        std::find_if(codes.begin(), codes.end(), [this](const CodeText &each) {
            return each.code == code;
        })->name);
}

Outcome Outcome::of(const RunResult &run)
{
    // A verdict counts, no matter how the updater ended after it.
    const UpdaterLog::Verdict verdict = run.log.verdict();
    if (verdict == UpdaterLog::Verdict::Succeeded) {
        return {Done, QStringLiteral("The microphone was flashed. It can be used now.") +
                          resultFileWarning(run)};
    }
    if (verdict == UpdaterLog::Verdict::Failed) {
        return {Failed, QStringLiteral("The microphone reported that the upgrade failed. Unplug "
                                       "it, plug it back in and try again. If it fails again, "
                                       "check that the image is for this microphone.") +
                            resultFileWarning(run)};
    }
    switch (run.ending) {
    case Ending::NotStarted:
        return notStarted(run.error);
    case Ending::TimedOut:
        return {NoVerdict, QStringLiteral("No progress for %1 s, so the updater was ended. %2")
                               .arg(run.waitedSeconds)
                               .arg(microphoneState(run.phase))};
    case Ending::Interrupted:
        return {
            Interrupted,
            QStringLiteral("The updater was ended on request. %1").arg(microphoneState(run.phase))};
    case Ending::Crashed:
        return updaterDied(run);
    case Ending::ByItself:
        break;
    }
    return run.exitCode == 0 ? endedWithoutVerdict(run) : updaterDied(run);
}

Outcome Outcome::imageGood()
{
    return {Done, QStringLiteral("The image is valid. Nothing was sent. To flash it, leave out "
                                 "--dry-run or --inspect.")};
}

Outcome Outcome::imageRefused(const QString &path, const QString &why)
{
    return {ImageRefused,
            QStringLiteral("The image %1 was refused: %2. Nothing was sent. Check the "
                           "path, or get the image again.")
                .arg(Terminal::printable(path), why)};
}

Outcome Outcome::listed(int microphones)
{
    if (microphones > 0)
        return {Done, QString()};
    return {NoMicrophone, QStringLiteral("No microphone is plugged in.")};
}

Outcome Outcome::notStarted(const QString &why)
{
    return {UpdaterFailed,
            QStringLiteral("The updater could not be started: %1. Nothing was sent.").arg(why)};
}

Outcome Outcome::wrongUsage(const QString &why)
{
    return {WrongUsage, why + QStringLiteral(" See velmo-flash --help.")};
}

QString Outcome::microphoneState(Progress::Phase phase)
{
    const QString remedy = QStringLiteral(" Unplug it, plug it back in and try again.");
    switch (phase) {
    case Progress::Phase::Starting:
        return QStringLiteral("Nothing was sent. The microphone is unchanged.");
    case Progress::Phase::Entering:
        return QStringLiteral("The microphone may be in upgrade mode, with its old firmware.") +
               remedy;
    case Progress::Phase::Sending:
        return QStringLiteral("The microphone may be in upgrade mode, with incomplete firmware.") +
               remedy;
    case Progress::Phase::Verdict:
        break;
    }
    return QStringLiteral("The updater sent the whole image, but the microphone did not report the "
                          "result. It may have the new firmware. If it was unplugged meanwhile, it "
                          "may be in upgrade mode, with incomplete firmware.") +
           remedy;
}

QString Outcome::codeList()
{
    QString list = QStringLiteral("Exit codes:\n");
    for (const CodeText &each : codes)
        list += QString::asprintf("  %-3d  %s\n", each.code, each.text);
    return list;
}
