#include "launcher/FlashRun.h"

#include "launcher/Display.h"
#include "launcher/Terminal.h"
#include "launcher/resultFile.h"
#include "upgrade/transferSchedule.h"

#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>

#include <tuple>
#include <utility>

namespace {

constexpr int pollMs = 100;
/// The updater ends itself right after the verdict; this is how long it may take.
constexpr qint64 farewellMs = 10000;
/// While the microphone restarts no packet goes out.
constexpr qint64 restartMs = transferSchedule::otgEntryPauseMs + transferSchedule::restartPauseMs;
constexpr qint64 millisecondsOfSecond = 1000;
/// What the updater says of a packet, generously, and besides.
constexpr qint64 logBytesOfPacket = 1024;
constexpr qint64 logBytesBesides = 1024 * logBytesOfPacket;
/// The upgrade-mode command.
constexpr int packetsBeforeFirmware = 1;

} // namespace

FlashRun::FlashRun(CommandLine commandLine, int packets, Display *display, QObject *parent)
    : QObject(parent)
    , wanted(std::move(commandLine))
    , packetCount(packets)
    , shownOn(display)
    , log(QDir::temp().filePath(QStringLiteral("velmo-flash-XXXXXX.log")))
{
    if (wanted.updaterPath.isEmpty())
        wanted.updaterPath = UpdaterProcess::besideUs();
    facts.imagePath = wanted.imagePath;
    facts.updaterPath = wanted.updaterPath;
    connect(&updater, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &FlashRun::onEnded);
    connect(&updater, &QProcess::errorOccurred, this, &FlashRun::onError);
    connect(&poll, &QTimer::timeout, this, &FlashRun::look);
}

void FlashRun::start()
{
    facts.error = obstacle();
    if (!facts.error.isEmpty()) {
        facts.ending = Outcome::Ending::NotStarted;
        conclude();
        return;
    }
    // The updater makes one level only.
    QDir().mkpath(QFileInfo(resultFilePlace()).path());
    sinceStart.start();
    sinceProgress.start();
    poll.start(pollMs);
    shownOn->progress(progress);
    updater.start(wanted.updaterPath, wanted.imagePath, log.fileName());
}

QString FlashRun::obstacle()
{
    if (!QFileInfo(wanted.updaterPath).isFile()) {
        return QStringLiteral("%1 is no file; --updater names another place")
            .arg(wanted.updaterPath);
    }
    // A pipe or a device could keep us waiting.
    const QFileInfo place(wanted.logPath);
    if (place.exists() && !place.isFile())
        return QStringLiteral("%1 is not a file that can keep its output").arg(wanted.logPath);
    QFile kept(wanted.logPath);
    if (!wanted.logPath.isEmpty() && !kept.open(QIODevice::WriteOnly | QIODevice::Append)) {
        return QStringLiteral("its output cannot be kept in %1: %2")
            .arg(wanted.logPath, kept.errorString());
    }
    const QByteArray line = "velmo-flash: starting " + wanted.updaterPath.toLocal8Bit() + ' ' +
                            UpdaterProcess::argumentFor(wanted.imagePath).toLocal8Bit() + '\n';
    if (!log.open() || log.write(line) != line.size() || !log.flush()) {
        return QStringLiteral("its output cannot be kept in %1: %2")
            .arg(QDir::tempPath(), log.errorString());
    }
    // Without the whole output the endings could not be told apart.  Some file systems do
    // not say.
    const QStorageInfo room(QFileInfo(log).path());
    if (room.bytesTotal() > 0 &&
        room.bytesAvailable() < packetCount * logBytesOfPacket + logBytesBesides)
        return QStringLiteral("there is too little room for its output in %1").arg(room.rootPath());
    return {};
}

void FlashRun::look()
{
    readLog();
    updateProgress();
    heedInterrupts();
    // A terminal that stands still may have kept us in the display for a while.
    readLog();
    heedTime();
}

void FlashRun::readLog()
{
    const auto state = [this] {
        return std::make_tuple(facts.log.hasOpened(), facts.log.packetsSent(), facts.log.verdict());
    };
    const auto before = state();
    facts.log.take(log.readAll());
    if (state() != before)
        sinceProgress.restart();
}

void FlashRun::updateProgress()
{
    const int sent = facts.log.packetsSent();
    progress.percent = facts.log.percent();
    progress.elapsedMs = sinceStart.elapsed();
    progress.leftMs = Progress::unknown;
    if (facts.log.hasSentAll()) {
        progress.phase = Progress::Phase::Verdict;
    } else if (sent > packetsBeforeFirmware) {
        progress.phase = Progress::Phase::Sending;
        if (!sinceFirmware.isValid()) {
            sinceFirmware.start();
            sentBeforeFirmware = sent;
        }
        progress.leftMs = Progress::timeLeft(sent - sentBeforeFirmware, facts.log.packets() - sent,
                                             sinceFirmware.elapsed());
    } else if (facts.log.hasOpened()) {
        progress.phase = Progress::Phase::Entering;
    }
    shownOn->progress(progress);
}

void FlashRun::heedInterrupts()
{
    if (ending)
        return;
    switch (question.take(Terminal::interrupts())) {
    case InterruptQuestion::Meaning::Ask:
        shownOn->note(QStringLiteral("An interrupted upgrade can leave the microphone in upgrade "
                                     "mode. Press Ctrl-C again to end it all the same."));
        break;
    case InterruptQuestion::Meaning::End:
        endUpdater(Outcome::Ending::Interrupted);
        break;
    case InterruptQuestion::Meaning::Nothing:
        break;
    }
}

void FlashRun::heedTime()
{
    if (ending)
        return;
    qint64 patienceMs = wanted.timeoutSeconds * millisecondsOfSecond;
    if (facts.log.verdict() != UpdaterLog::Verdict::None)
        patienceMs = farewellMs;
    else if (progress.phase < Progress::Phase::Sending)
        patienceMs += restartMs; // a short time-out must not end it in the planned pause
    if (sinceProgress.elapsed() <= patienceMs)
        return;
    facts.waitedSeconds = static_cast<int>(patienceMs / millisecondsOfSecond);
    endUpdater(Outcome::Ending::TimedOut);
}

void FlashRun::endUpdater(Outcome::Ending why)
{
    ending = true;
    facts.ending = why;
    // It has no clean-up that a gentler way would let it do.
    updater.kill();
}

void FlashRun::onEnded(int exitCode, QProcess::ExitStatus status)
{
    if (!ending)
        facts.ending =
            status == QProcess::NormalExit ? Outcome::Ending::ByItself : Outcome::Ending::Crashed;
    facts.exitCode = exitCode;
    readLog();
    facts.log.finish();
    updateProgress();
    conclude();
}

void FlashRun::onError(QProcess::ProcessError error)
{
    // Of all others finished() tells.
    if (error != QProcess::FailedToStart)
        return;
    facts.ending = Outcome::Ending::NotStarted;
    facts.error = updater.errorString();
    conclude();
}

void FlashRun::conclude()
{
    poll.stop();
    facts.phase = progress.phase;
    facts.fileVerdict = resultFileVerdict();
    const Outcome outcome = Outcome::of(facts);
    // The log may be that of the other updater, which is at work.
    if (outcome.code != Outcome::AnotherUpdater && facts.ending != Outcome::Ending::NotStarted)
        keepLog();
    emit finished(outcome);
}

void FlashRun::keepLog()
{
    if (wanted.logPath.isEmpty())
        return;
    QFile kept(wanted.logPath);
    log.seek(0);
    const QByteArray output = log.readAll();
    if (!kept.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        kept.write(output) != output.size() || !kept.flush()) {
        shownOn->note(QStringLiteral("The updater's output is not all in %1: %2")
                          .arg(wanted.logPath, kept.errorString()));
    }
}
