#pragma once

#include "launcher/UpdaterLog.h"

#include <QString>

/// How a run ended: the exit code, one word for programs, and a message that says what happened
/// and what to do next.
struct Outcome
{
    enum Code
    {
        Done = 0,
        Failed = 1,
        NoMicrophone = 2,
        ImageRefused = 3,
        AnotherUpdater = 4,
        NoVerdict = 5,
        UpdaterFailed = 6,
        /// As in sysexits.h.
        WrongUsage = 64,
        /// As shells report a program that was ended by SIGINT.
        Interrupted = 130
    };

    /// How the updater ended.
    enum class Ending
    {
        ByItself,
        Crashed,
        /// Killed by us because there was no progress for too long.
        TimedOut,
        /// Killed by us because the user wanted it.
        Interrupted
    };

    /// All that is known when the updater has ended.
    struct RunResult
    {
        Ending ending = Ending::ByItself;
        /// Only meaningful if it ended by itself.
        int exitCode = 0;
        /// How long there was no progress if that is why it was killed.
        qint64 waitedSeconds = 0;
        /// What the result file says. Only the log's verdict counts.
        UpdaterLog::Verdict fileVerdict = UpdaterLog::Verdict::None;
        UpdaterLog log;
        QString imagePath;
        QString updaterPath;
    };

    Code code = Done;
    /// Empty if the code says enough.
    QString message;

    /// "done", "failed", "no-microphone" ...
    const char *name() const;

    static Outcome of(const RunResult &run);
    static Outcome imageRefused(const QString &path, const QString &why);
    /// The list of codes for --help.
    static QString codeList();
};
