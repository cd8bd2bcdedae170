#include "launcher/FlashRun.h"

#include "launcher/Display.h"
#include "launcher/Terminal.h"
#include "launcher/resultFilePlace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <utility>

namespace {

/// How often everything is looked at without a notification, which some file
/// systems never send.
constexpr int pollMs = 100;
/// The updater ends itself right after the verdict; this is how long it may take.
constexpr qint64 farewellMs = 10000;
/// The pauses of the updater's schedule while a microphone restarts: 10 s for an R5 otg
/// one, and 7 s.  As much for the updater's own start on a busy machine.
constexpr qint64 restartMs = 17000;
constexpr qint64 millisecondsOfSecond = 1000;
constexpr int wholePercent = 100;
/// What the updater says of a packet, generously, and besides.
constexpr qint64 logBytesOfPacket = 1024;
constexpr qint64 logBytesBesides = 1024 * logBytesOfPacket;
/// The updater reports 0 % three times before it sends any firmware: behind the
/// upgrade-mode command, behind the restart, and once more.
constexpr int stepsBeforeFirmware = 3;
/// The upgrade-mode command.
constexpr int packetsBeforeFirmware = 1;

} // namespace

FlashRun::FlashRun(CommandLine commandLine, int packets, Display *display, QObject *parent)
    : QObject(parent)
    , wanted(std::move(commandLine))
    , packetCount(packets)
    , shownOn(display)
    , logTail(ownLogPath())
    , keptLog(wanted.logPath)
    , resultTail(resultFilePlace())
{
    if (wanted.updaterPath.isEmpty())
        wanted.updaterPath = UpdaterProcess::besideUs();
    facts.imagePath = wanted.imagePath;
    facts.updaterPath = wanted.updaterPath;
    connect(&updater, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &FlashRun::onEnded);
    connect(&updater, &QProcess::errorOccurred, this, &FlashRun::onError);
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, &FlashRun::look);
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
    const QFileInfo before(resultTail.path());
    sizeBefore = before.size();
    changedBefore = before.lastModified();
    watcher.addPath(resultTail.path());
    sinceStart.start();
    sinceProgress.start();
    poll.start(pollMs);
    shownOn->progress(progress);
    updater.start(wanted.updaterPath, wanted.imagePath, logTail.path());
}

QString FlashRun::obstacle()
{
    if (!QFileInfo(wanted.updaterPath).isFile()) {
        return QStringLiteral("%1 is no file; --updater names another place")
            .arg(wanted.updaterPath);
    }
    if (!ownFolder.isValid()) {
        return QStringLiteral("no temporary folder in %1: %2")
            .arg(QDir::tempPath(), ownFolder.errorString());
    }
    // Without the whole output the endings could not be told apart.
    const QStorageInfo room(ownFolder.path());
    // Some file systems do not say.
    if (room.bytesTotal() > 0 &&
        room.bytesAvailable() < packetCount * logBytesOfPacket + logBytesBesides) {
        return QStringLiteral("there is too little room in %1, where its output is kept meanwhile")
            .arg(QDir::tempPath());
    }
    QFile file(logTail.path());
    const QByteArray line = "velmo-flash: starting " + wanted.updaterPath.toLocal8Bit() + ' ' +
                            UpdaterProcess::argumentFor(wanted.imagePath).toLocal8Bit() + '\n';
    if (!file.open(QIODevice::WriteOnly) || file.write(line) != line.size() || !file.flush()) {
        return QStringLiteral("its output cannot be kept in %1: %2")
            .arg(file.fileName(), file.errorString());
    }
    const QString unkept = keptLog.obstacle();
    return unkept.isEmpty() ? obstacleToResultFile() : unkept;
}

void FlashRun::look()
{
    readLog();
    readResult();
    updateProgress();
    heedInterrupts();
    heedTime();
}

void FlashRun::readLog()
{
    const QByteArray bytes = logTail.readNew();
    const int sent = facts.log.packetsSent();
    const ResultFollower::Verdict verdict = facts.log.verdict();
    facts.log.take(bytes);
    // Also where the result file cannot be written, or another updater has emptied it.
    if (facts.log.packetsSent() > sent || facts.log.verdict() != verdict)
        sinceProgress.restart();
    keptLog.take(bytes);
    if (facts.log.hasBegun())
        keptLog.claim();
    tellLogFault();
}

void FlashRun::tellLogFault()
{
    const QString fault = keptLog.newFault();
    if (!fault.isEmpty())
        shownOn->note(fault);
}

void FlashRun::readResult()
{
    // Until then it may hold an earlier run's result, or another updater's.
    if (!facts.log.hasEmptiedResult() || isResultUntouched())
        return;
    const QByteArray bytes = resultTail.readNew();
    // It only grows while our updater runs: from here on it is another one's.
    if (resultTail.wasEmptied()) {
        resultLost = true;
        facts.fileVerdict = ResultFollower::Verdict::None;
    }
    if (bytes.isEmpty() || resultLost)
        return;
    result.take(bytes);
    facts.fileVerdict = result.verdict();
    sinceProgress.restart();
}

bool FlashRun::isResultUntouched() const
{
    // Without this an updater that could not empty the file after all would pass off
    // the old result as its own.
    const QFileInfo now(resultTail.path());
    return sizeBefore > 0 && now.size() == sizeBefore && now.lastModified() == changedBefore;
}

void FlashRun::updateProgress()
{
    progress.percent = result.percent();
    progress.elapsedMs = sinceStart.elapsed();
    if (progress.percent == wholePercent)
        progress.phase = Progress::Phase::Verdict;
    else if (progress.percent > 0 || result.steps() > stepsBeforeFirmware ||
             facts.log.packetsSent() > packetsBeforeFirmware)
        progress.phase = Progress::Phase::Sending;
    else if (facts.log.hasOpened())
        progress.phase = Progress::Phase::Entering;
    if (progress.phase == Progress::Phase::Sending && !sinceFirmware.isValid()) {
        sinceFirmware.start();
        sentBeforeFirmware = facts.log.packetsSent();
    }
    progress.leftMs = Progress::unknown;
    if (progress.phase == Progress::Phase::Sending) {
        progress.leftMs =
            Progress::timeLeft(facts.log.packetsSent() - sentBeforeFirmware,
                               packetCount - facts.log.packetsSent(), sinceFirmware.elapsed());
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
    if (facts.log.verdict() != ResultFollower::Verdict::None)
        patienceMs = farewellMs;
    else if (progress.phase == Progress::Phase::Starting ||
             progress.phase == Progress::Phase::Entering)
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
    readResult();
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
    const Outcome outcome = Outcome::of(facts);
    // One that ended early said why, perhaps; one that found another running said nothing.
    if (outcome.code != Outcome::AnotherUpdater && facts.ending != Outcome::Ending::NotStarted)
        keptLog.claim();
    tellLogFault();
    emit finished(outcome);
}
