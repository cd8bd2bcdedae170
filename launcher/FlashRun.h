#pragma once

#include "launcher/CommandLine.h"
#include "launcher/Outcome.h"
#include "launcher/UpdaterProcess.h"

#include <QElapsedTimer>
#include <QTemporaryFile>

class Display;

/// One upgrade: starts the updater, follows its output, and kills it if there is no progress
/// or the user wants that. Main thread.
class FlashRun
{
public:
    /// `packets` is their number in the image. `newDisplay` must outlive this object.
    FlashRun(CommandLine commandLine, int packets, Display *newDisplay);

    /// Returns when the updater has ended.
    Outcome run();

private:
    /// Why the updater cannot be started; empty: it can.
    QString startError();
    void readLog();
    void showProgress();
    void checkInterrupt();
    void checkTimeout();
    /// Kills the updater. `why` becomes the outcome unless there is a verdict.
    void killUpdater(Outcome::Ending why);
    void keepLog();

    CommandLine options;
    int packetCount;
    Display *display;
    UpdaterProcess updater;
    /// The updater's output. The file of --log gets a copy at the end: another run could write
    /// there meanwhile.
    QTemporaryFile log;
    QElapsedTimer sinceStart;
    QElapsedTimer sinceProgress;
    QElapsedTimer sinceFirmware;
    Outcome::RunResult result;
    bool hasAsked = false;
};
