#pragma once

#include "launcher/CommandLine.h"
#include "launcher/FileTail.h"
#include "launcher/InterruptQuestion.h"
#include "launcher/KeptLog.h"
#include "launcher/Outcome.h"
#include "launcher/Progress.h"
#include "launcher/ResultFollower.h"
#include "launcher/UpdaterLog.h"
#include "launcher/UpdaterProcess.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QObject>
#include <QTemporaryDir>
#include <QTimer>

class Display;

/// One upgrade: starts the updater, follows its result file and its output, and
/// ends it when there is no progress or the user wants it.  Main thread; needs an
/// event loop.
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
    void tellLogFault();
    void readResult();
    bool isResultUntouched() const;
    void updateProgress();
    void heedInterrupts();
    void heedTime();
    /// Ends the updater; `why` becomes the outcome unless there is a verdict.
    void endUpdater(Outcome::Ending why);
    void onEnded(int exitCode, QProcess::ExitStatus status);
    void onError(QProcess::ProcessError error);
    void conclude();
    QString ownLogPath() const { return ownFolder.filePath(QStringLiteral("updater.log")); }

    CommandLine wanted;
    int packetCount;
    Display *shownOn;
    QTemporaryDir ownFolder;
    UpdaterProcess updater;
    FileTail logTail;
    KeptLog keptLog;
    FileTail resultTail;
    /// The result file before the start.
    qint64 sizeBefore = 0;
    QDateTime changedBefore;
    ResultFollower result;
    /// Another updater has emptied the result file.
    bool resultLost = false;
    QFileSystemWatcher watcher;
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
