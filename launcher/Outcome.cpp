#include "launcher/Outcome.h"

#include "launcher/ImageReport.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <algorithm>
#include <array>

namespace {

struct CodeTexts
{
    Outcome::Code code;
    /// For programs.
    const char *name;
    /// As --help has it.
    const char *text;
};

constexpr std::array<CodeTexts, 9> codes = {{
    {Outcome::Done, "done", "flashed; or the image is in order; or a microphone is plugged in"},
    {Outcome::Failed, "failed", "the microphone reported failure"},
    {Outcome::NoMicrophone, "no-microphone", "no microphone was found, or it could not be opened"},
    {Outcome::ImageRefused, "image-refused", "the image was refused"},
    {Outcome::AnotherUpdater, "another-updater", "another updater is running"},
    {Outcome::NoVerdict, "no-verdict", "no verdict in time, the updater was ended"},
    {Outcome::UpdaterFailed, "updater-failed", "the updater could not be started, or died"},
    {Outcome::WrongUsage, "wrong-usage", "wrong usage"},
    {Outcome::Interrupted, "interrupted", "interrupted by Ctrl-C, the updater was ended"},
}};

/// The updater does not say why: to it a microphone that does not open is none.
Outcome noMicrophone(const QString &imagePath)
{
    QStringList others;
    for (const PluggedIn &each : PluggedIn::all()) {
        if (!each.isMeantBy(imagePath)) {
            others += each.id();
            continue;
        }
        // The first one is the one that the updater takes.
        if (each.obstacle.isEmpty()) {
            return {Outcome::NoMicrophone,
                    QStringLiteral("The microphone %1 was not found, but it is there now (%2); "
                                   "nothing was sent. Run this again.")
                        .arg(each.id(), each.node)};
        }
        return {Outcome::NoMicrophone,
                QStringLiteral("The microphone %1 is there (%2) but cannot be opened: %3 Nothing "
                               "was sent.")
                    .arg(each.id(), each.node, each.obstacle)};
    }
    const QString advice = others.isEmpty()
                               ? QStringLiteral("Plug it in and run this again.")
                               : QStringLiteral("The image's path does not mean what is plugged in "
                                                "(%1): check it, and see velmo-flash --list.")
                                     .arg(others.join(QLatin1String(" and ")));
    return {Outcome::NoMicrophone, QStringLiteral("No microphone %1 was found; nothing was sent. ")
                                           .arg(ImageReport::microphoneIds(imagePath)) +
                                       advice};
}

/// A warning for whoever reads the result file, too.
QString otherThanInFile(const Outcome::Facts &facts)
{
    if (facts.fileVerdict == facts.log.verdict())
        return {};
    return QStringLiteral(" (The result file says something else: it could not be written, or "
                          "another updater has used it since.)");
}

Outcome updaterDied(const Outcome::Facts &facts)
{
    const QString how =
        facts.ending == Outcome::Ending::Crashed
            ? QStringLiteral("crashed or was killed")
            : QStringLiteral("ended without a verdict (code %1)").arg(facts.exitCode);
    return {Outcome::UpdaterFailed, QStringLiteral("The updater %1; --log FILE keeps what it "
                                                   "says. %2")
                                            .arg(how, Outcome::aftermath(facts.phase)) +
                                        otherThanInFile(facts)};
}

/// Of an updater that ended by itself, with code 0, and gave no verdict.
Outcome silentEnd(const Outcome::Facts &facts)
{
    if (!facts.log.hasBegun()) {
        return {Outcome::AnotherUpdater,
                QStringLiteral("Another updater is running, so this one ended at once; nothing "
                               "was sent. Wait until it is done and run this again. (If none is "
                               "running, %1 is not the updater.)")
                    .arg(facts.updaterPath)};
    }
    if (!facts.log.refusal().isEmpty())
        return Outcome::imageRefused(facts.imagePath, facts.log.refusal());
    return facts.log.hasOpened() ? updaterDied(facts) : noMicrophone(facts.imagePath);
}

} // namespace

QString Outcome::name() const
{
    return QString::fromLatin1(
        std::find_if(codes.begin(), codes.end(), [this](const CodeTexts &each) {
            return each.code == code;
        })->name);
}

Outcome Outcome::of(const Facts &facts)
{
    // A verdict stands, whatever became of the updater after it.
    const UpdaterLog::Verdict verdict = facts.log.verdict();
    if (verdict == UpdaterLog::Verdict::Succeeded) {
        return {Done, QStringLiteral("The microphone was flashed. It can be used now.") +
                          otherThanInFile(facts)};
    }
    if (verdict == UpdaterLog::Verdict::Failed) {
        return {Failed, QStringLiteral("The microphone reported that the upgrade failed. Plug it "
                                       "in anew and run this again; if it fails again, check "
                                       "that the image is the one for this microphone.") +
                            otherThanInFile(facts)};
    }
    switch (facts.ending) {
    case Ending::NotStarted:
        return notStarted(facts.error);
    case Ending::TimedOut:
        return {NoVerdict, QStringLiteral("No progress for %1 s, so the updater was ended. %2")
                               .arg(facts.waitedSeconds)
                               .arg(aftermath(facts.phase))};
    case Ending::Interrupted:
        return {Interrupted,
                QStringLiteral("The updater was ended on request. %1").arg(aftermath(facts.phase))};
    case Ending::Crashed:
        return updaterDied(facts);
    case Ending::ByItself:
        break;
    }
    return facts.exitCode == 0 ? silentEnd(facts) : updaterDied(facts);
}

Outcome Outcome::imageGood()
{
    return {Done, QStringLiteral("The image is in order. Nothing was sent; run this without "
                                 "--dry-run or --inspect to flash it.")};
}

Outcome Outcome::imageRefused(const QString &path, const QString &why)
{
    return {ImageRefused, QStringLiteral("The image %1 is refused: %2. Nothing was sent; check the "
                                         "path, or get the image anew.")
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

QString Outcome::aftermath(Progress::Phase phase)
{
    const QString anew = QStringLiteral(" Plug it in anew and run this again.");
    switch (phase) {
    case Progress::Phase::Starting:
        return QStringLiteral("Nothing was sent; the microphone is as it was.");
    case Progress::Phase::Entering:
        return QStringLiteral("The microphone may be in its upgrade mode, with the firmware that "
                              "it had.") +
               anew;
    case Progress::Phase::Sending:
        return QStringLiteral("The microphone may be in its upgrade mode, with an incomplete "
                              "firmware.") +
               anew;
    case Progress::Phase::Verdict:
        break;
    }
    return QStringLiteral("The updater came to the image's end, but the microphone did not say "
                          "what became of it: it may have the new firmware, or still be in its "
                          "upgrade mode, with an incomplete one if it was unplugged meanwhile.") +
           anew;
}

QString Outcome::codeList()
{
    QString list = QStringLiteral("Exit codes:\n");
    for (const CodeTexts &each : codes)
        list += QString::asprintf("  %-3d  %s\n", each.code, each.text);
    return list;
}
