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
/// How long the updater may take to exit after the verdict.
constexpr qint64 exitTimeoutMs = 10000;
/// No packet is sent while the microphone restarts.
constexpr qint64 restartTimeMs =
    transferSchedule::otgEntryPauseMs + transferSchedule::restartPauseMs;
constexpr qint64 millisecondsOfSecond = 1000;
/// Upper bounds: log bytes per packet, and overhead.
constexpr qint64 logBytesPerPacket = 1024;
constexpr qint64 logBytesOverhead = 1024 * logBytesPerPacket;
/// Only the upgrade-mode command.
constexpr int packetsBeforeFirmware = 1;

} // namespace

FlashRun::FlashRun(CommandLine commandLine, int packets, Display *newDisplay, QObject *parent)
    : QObject(parent)
    , options(std::move(commandLine))
    , packetCount(packets)
    , display(newDisplay)
    , log(QDir::temp().filePath(QStringLiteral("velmo-flash-XXXXXX.log")))
{
    if (options.updaterPath.isEmpty())
        options.updaterPath = UpdaterProcess::defaultPath();
    result.imagePath = options.imagePath;
    result.updaterPath = options.updaterPath;
    connect(&updater, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &FlashRun::onEnded);
    connect(&updater, &QProcess::errorOccurred, this, &FlashRun::onError);
    connect(&pollTimer, &QTimer::timeout, this, &FlashRun::onPoll);
}

void FlashRun::start()
{
    result.error = startError();
    if (!result.error.isEmpty()) {
        result.ending = Outcome::Ending::NotStarted;
        finish();
        return;
    }
    // The updater creates only the last folder of this path.
    QDir().mkpath(QFileInfo(resultFilePath()).path());
    sinceStart.start();
    sinceProgress.start();
    pollTimer.start(pollMs);
    display->progress(progress);
    updater.start(options.updaterPath, options.imagePath, log.fileName());
}

QString FlashRun::startError()
{
    if (!QFileInfo(options.updaterPath).isFile()) {
        return QStringLiteral("%1 is no file; use --updater to name another one")
            .arg(options.updaterPath);
    }
    // A pipe or a device could block us.
    const QFileInfo logFile(options.logPath);
    if (logFile.exists() && !logFile.isFile())
        return QStringLiteral("its output cannot be kept in %1, which is not a file")
            .arg(options.logPath);
    QFile kept(options.logPath);
    if (!options.logPath.isEmpty() && !kept.open(QIODevice::WriteOnly | QIODevice::Append)) {
        return QStringLiteral("its output cannot be kept in %1: %2")
            .arg(options.logPath, kept.errorString());
    }
    const QByteArray line = "velmo-flash: starting " + options.updaterPath.toLocal8Bit() + ' ' +
                            UpdaterProcess::argumentFor(options.imagePath).toLocal8Bit() + '\n';
    if (!log.open() || log.write(line) != line.size() || !log.flush()) {
        return QStringLiteral("its output cannot be kept in %1: %2")
            .arg(QDir::tempPath(), log.errorString());
    }
    // Without the whole output we could not tell how the run ended. Some file systems do not
    // report their size.
    const QStorageInfo storage(QFileInfo(log).path());
    if (storage.bytesTotal() > 0 &&
        storage.bytesAvailable() < packetCount * logBytesPerPacket + logBytesOverhead)
        return QStringLiteral("there is too little space for its output on %1")
            .arg(storage.rootPath());
    return {};
}

void FlashRun::onPoll()
{
    readLog();
    updateProgress();
    checkInterrupts();
    // A paused terminal may have blocked the display for a while.
    readLog();
    checkTimeout();
}

void FlashRun::readLog()
{
    const auto state = [this] {
        return std::make_tuple(result.log.hasOpened(), result.log.packetsSent(),
                               result.log.verdict());
    };
    const auto before = state();
    result.log.append(log.readAll());
    if (state() != before)
        sinceProgress.restart();
}

void FlashRun::updateProgress()
{
    const int sent = result.log.packetsSent();
    progress.percent = result.log.percent();
    progress.elapsedMs = sinceStart.elapsed();
    progress.leftMs = Progress::unknown;
    if (result.log.hasSentAll()) {
        progress.phase = Progress::Phase::Verdict;
    } else if (sent > packetsBeforeFirmware) {
        progress.phase = Progress::Phase::Sending;
        if (!sinceFirmware.isValid()) {
            sinceFirmware.start();
            sentBeforeFirmware = sent;
        }
        progress.leftMs = Progress::timeLeft(sent - sentBeforeFirmware, result.log.packets() - sent,
                                             sinceFirmware.elapsed());
    } else if (result.log.hasOpened()) {
        progress.phase = Progress::Phase::Entering;
    }
    display->progress(progress);
}

void FlashRun::checkInterrupts()
{
    if (killed)
        return;
    switch (question.take(Terminal::interrupts())) {
    case InterruptQuestion::Meaning::Ask:
        display->note(QStringLiteral("An interrupted upgrade can leave the microphone in upgrade "
                                     "mode. Press Ctrl-C again to end it anyway."));
        break;
    case InterruptQuestion::Meaning::End:
        killUpdater(Outcome::Ending::Interrupted);
        break;
    case InterruptQuestion::Meaning::Nothing:
        break;
    }
}

void FlashRun::checkTimeout()
{
    if (killed)
        return;
    qint64 timeoutMs = options.timeoutSeconds * millisecondsOfSecond;
    if (result.log.verdict() != UpdaterLog::Verdict::None)
        timeoutMs = exitTimeoutMs;
    else if (progress.phase < Progress::Phase::Sending)
        timeoutMs += restartTimeMs; // the restart is not a lack of progress
    if (sinceProgress.elapsed() <= timeoutMs)
        return;
    result.waitedSeconds = static_cast<int>(timeoutMs / millisecondsOfSecond);
    killUpdater(Outcome::Ending::TimedOut);
}

void FlashRun::killUpdater(Outcome::Ending why)
{
    killed = true;
    result.ending = why;
    // The updater has nothing to clean up, so there is no gentler way.
    updater.kill();
}

void FlashRun::onEnded(int exitCode, QProcess::ExitStatus status)
{
    if (!killed)
        result.ending =
            status == QProcess::NormalExit ? Outcome::Ending::ByItself : Outcome::Ending::Crashed;
    result.exitCode = exitCode;
    readLog();
    result.log.finish();
    updateProgress();
    finish();
}

void FlashRun::onError(QProcess::ProcessError error)
{
    // All other errors also emit finished().
    if (error != QProcess::FailedToStart)
        return;
    result.ending = Outcome::Ending::NotStarted;
    result.error = updater.errorString();
    finish();
}

void FlashRun::finish()
{
    pollTimer.stop();
    result.phase = progress.phase;
    result.fileVerdict = resultFileVerdict();
    const Outcome outcome = Outcome::of(result);
    // If another updater is running, the log file may be its own.
    if (outcome.code != Outcome::AnotherUpdater && result.ending != Outcome::Ending::NotStarted)
        keepLog();
    emit finished(outcome);
}

void FlashRun::keepLog()
{
    if (options.logPath.isEmpty())
        return;
    QFile kept(options.logPath);
    log.seek(0);
    const QByteArray output = log.readAll();
    if (!kept.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        kept.write(output) != output.size() || !kept.flush()) {
        display->note(QStringLiteral("The updater's output could not be written to %1: %2")
                          .arg(options.logPath, kept.errorString()));
    }
}
