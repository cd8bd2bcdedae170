#pragma once

#include "launcher/CommandLine.h"
#include "launcher/InterruptQuestion.h"
#include "launcher/Outcome.h"
#include "launcher/Progress.h"
#include "launcher/UpdaterProcess.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTemporaryFile>
#include <QTimer>

class Display;

/// One upgrade: starts the updater, follows its output, and kills it if there is no progress
/// or the user wants that. Main thread; needs an event loop.
class FlashRun : public QObject
{
    Q_OBJECT

public:
    /// `packets` is their number in the image. `newDisplay` must outlive this object.
    FlashRun(CommandLine commandLine, int packets, Display *newDisplay, QObject *parent = nullptr);

    void start();

signals:
    /// Emitted once, after the updater has ended.
    void finished(const Outcome &outcome);

private:
    /// Why the updater cannot be started; empty: it can.
    QString startError();
    void onPoll();
    void readLog();
    void updateProgress();
    void checkInterrupts();
    void checkTimeout();
    /// Kills the updater. `why` becomes the outcome unless there is a verdict.
    void killUpdater(Outcome::Ending why);
    void onEnded(int exitCode, QProcess::ExitStatus status);
    void onError(QProcess::ProcessError error);
    void finish();
    void keepLog();

    CommandLine options;
    int packetCount;
    Display *display;
    UpdaterProcess updater;
    /// The updater's output. The file of --log gets a copy at the end: another run could write
    /// there meanwhile.
    QTemporaryFile log;
    QTimer pollTimer;
    QElapsedTimer sinceStart;
    QElapsedTimer sinceProgress;
    /// The time since the first firmware was sent, and the packets sent before.
    QElapsedTimer sinceFirmware;
    int sentBeforeFirmware = 0;
    Progress progress;
    Outcome::RunResult result;
    InterruptQuestion question;
    bool killed = false;
};
