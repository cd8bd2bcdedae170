#include "launcher/FlashRun.h"

#include "device/resultFilePath.h"
#include "launcher/Display.h"
#include "launcher/Terminal.h"

#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>

#include <tuple>
#include <utility>

namespace {

constexpr int pollMs = 100;
/// How long the updater may take to exit after the verdict.
constexpr qint64 exitTimeoutMs = 10000;
/// Upper bounds: log bytes per packet, and overhead.
constexpr qint64 logBytesPerPacket = 1024;
constexpr qint64 logBytesOverhead = 1024 * logBytesPerPacket;

QString notKept(const QString &path, const QString &why)
{
    return QStringLiteral("its output cannot be kept in %1: %2").arg(path, why);
}

/// The verdict of the latest updater that has used the result file.
UpdaterLog::Verdict resultFileVerdict()
{
    QFile file(resultFilePath());
    // A device or a pipe in its place might have no end.
    const bool isReadable = QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly);
    // The outcome has no line end.
    const QByteArray outcome = isReadable ? file.readAll().split('\n').last() : QByteArray();
    if (outcome == "success 1")
        return UpdaterLog::Verdict::Succeeded;
    return outcome == "success -1" ? UpdaterLog::Verdict::Failed : UpdaterLog::Verdict::None;
}

} // namespace

FlashRun::FlashRun(CommandLine commandLine, int packets, Display *newDisplay)
    : options(std::move(commandLine))
    , packetCount(packets)
    , display(newDisplay)
    , updater(options.updaterPath, options.imagePath)
    , log(QDir::temp().filePath("velmo-flash-XXXXXX.log"))
{
    result.imagePath = options.imagePath;
    result.updaterPath = options.updaterPath;
}

Outcome FlashRun::run()
{
    Terminal::catchInterrupts();
    QString error = startError();
    if (error.isEmpty()) {
        sinceStart.start();
        sinceProgress.start();
        showProgress();
        // The updater creates only the last folder of this path.
        QDir().mkpath(QFileInfo(resultFilePath()).path());
        updater.setStandardOutputFile(log.fileName(), QIODevice::Append);
        updater.start();
        if (!updater.waitForStarted(-1)) {
            error = options.updaterPath +
                    " (use --updater to name another one): " + updater.errorString();
        }
    }
    if (error.endsWith('.')) // some systems end their reasons so
        error.chop(1);
    if (!error.isEmpty()) {
        return {
            Outcome::UpdaterFailed,
            QStringLiteral("The updater could not be started: %1. Nothing was sent.").arg(error)};
    }
    while (!updater.waitForFinished(pollMs) && updater.state() != QProcess::NotRunning) {
        showProgress();
        checkInterrupt();
        // Not before: a paused terminal may have blocked the display for a while.
        readLog();
        checkTimeout();
    }
    if (result.ending == Outcome::Ending::ByItself && updater.exitStatus() == QProcess::CrashExit)
        result.ending = Outcome::Ending::Crashed;
    result.exitCode = updater.exitCode();
    readLog();
    result.log.append("\n"); // it may have ended midway in a line
    showProgress();
    result.fileVerdict = resultFileVerdict();
    Outcome outcome = Outcome::of(result);
    // If another updater is running, the log file may be its own.
    if (outcome.code != Outcome::AnotherUpdater)
        keepLog();
    return outcome;
}

QString FlashRun::startError()
{
    // A pipe or a device could block us.
    QFile kept(options.logPath);
    if (kept.exists() && !QFileInfo(kept).isFile())
        return notKept(options.logPath, "it is not a file");
    if (!options.logPath.isEmpty() && !kept.open(QIODevice::WriteOnly | QIODevice::Append))
        return notKept(options.logPath, kept.errorString());
    const QString line = QStringLiteral("velmo-flash: starting %1 %2\n")
                             .arg(updater.program(), updater.arguments().join(' '));
    if (!log.open() || log.write(line.toLocal8Bit()) == -1 || !log.flush())
        return notKept(QDir::tempPath(), log.errorString());
    // Without the whole output we could not tell how the run ended. Some file systems do not
    // report their size.
    const QStorageInfo storage(QDir::tempPath());
    if (storage.bytesTotal() > 0 &&
        storage.bytesAvailable() < packetCount * logBytesPerPacket + logBytesOverhead)
        return notKept(QDir::tempPath(), "there is too little space");
    return {};
}

void FlashRun::readLog()
{
    const auto state = [this] {
        return std::tuple(result.log.phase(), result.log.sent, result.log.verdict);
    };
    const auto before = state();
    result.log.append(log.readAll());
    if (state() != before)
        sinceProgress.restart();
}

void FlashRun::showProgress()
{
    const UpdaterLog &now = result.log;
    qint64 leftMs = Progress::unknown;
    if (now.phase() == Progress::Phase::Sending) {
        if (!sinceFirmware.isValid())
            sinceFirmware.start();
        leftMs = Progress::timeLeft(now.sent, now.packets - now.sent, sinceFirmware.elapsed());
    }
    display->progress({now.phase(), now.percent(), sinceStart.elapsed(), leftMs});
}

void FlashRun::checkInterrupt()
{
    if (!Terminal::takeInterrupt())
        return;
    if (hasAsked)
        killUpdater(Outcome::Ending::Interrupted);
    else
        display->note("An interrupted upgrade can leave the microphone in upgrade mode. Press "
                      "Ctrl-C again to end it anyway.");
    hasAsked = true;
}

void FlashRun::checkTimeout()
{
    qint64 timeoutMs = options.timeoutSeconds * Progress::secondMs;
    if (result.log.verdict != UpdaterLog::Verdict::None)
        timeoutMs = exitTimeoutMs;
    else if (result.log.phase() < Progress::Phase::Sending)
        timeoutMs += CommandLine::restartSeconds * Progress::secondMs;
    if (sinceProgress.elapsed() <= timeoutMs)
        return;
    result.waitedSeconds = timeoutMs / Progress::secondMs;
    killUpdater(Outcome::Ending::TimedOut);
}

void FlashRun::killUpdater(Outcome::Ending why)
{
    if (result.ending == Outcome::Ending::ByItself)
        result.ending = why;
    // The updater has nothing to clean up, so there is no gentler way.
    updater.kill();
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
