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

/// One upgrade: starts the updater, follows its output, and ends it when there is no
/// progress or the user wants it.  Main thread; needs an event loop.
class FlashRun : public QObject
{
    Q_OBJECT

public:
    /// `packets` are the image's; `display` outlives this.
    FlashRun(CommandLine commandLine, int packets, Display *display, QObject *parent = nullptr);

    void start();

signals:
    /// Once; the updater is gone by then.
    void finished(const Outcome &outcome);

private:
    /// Why the updater should not be started; empty: it can.
    QString obstacle();
    /// Looks at everything there is to look at.
    void look();
    void readLog();
    void updateProgress();
    void heedInterrupts();
    void heedTime();
    /// Ends the updater; `why` becomes the outcome unless there is a verdict.
    void endUpdater(Outcome::Ending why);
    void onEnded(int exitCode, QProcess::ExitStatus status);
    void onError(QProcess::ProcessError error);
    void conclude();
    void keepLog();

    CommandLine wanted;
    int packetCount;
    Display *shownOn;
    UpdaterProcess updater;
    /// The updater's output.  No other run writes there, as one could into the file of
    /// --log, which gets a copy at the end.
    QTemporaryFile log;
    QTimer poll;
    QElapsedTimer sinceStart;
    QElapsedTimer sinceProgress;
    /// Since firmware goes out, and the packets that had gone out then.
    QElapsedTimer sinceFirmware;
    int sentBeforeFirmware = 0;
    Progress progress;
    Outcome::Facts facts;
    InterruptQuestion question;
    /// Whether we have killed the updater.
    bool ending = false;
};
