#pragma once

#include "launcher/Progress.h"
#include "launcher/UpdaterLog.h"

#include <QString>

/// What became of a run: the exit code, one word for programs, and one line that
/// says what happened and what to do next.
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
        /// As sysexits.h has it.
        WrongUsage = 64,
        /// As shells report a program that SIGINT ended.
        Interrupted = 130
    };

    /// How the updater came to its end.
    enum class Ending
    {
        ByItself,
        Crashed,
        NotStarted,
        /// Ended by us, there was no progress for too long.
        TimedOut,
        /// Ended by us, the user wanted it.
        Interrupted
    };

    /// All that is known when the updater is gone.
    struct Facts
    {
        Ending ending = Ending::ByItself;
        /// Meaningful when it ended by itself.
        int exitCode = 0;
        /// Why it could not be started.
        QString error;
        /// How long there was no progress, when that ended it.
        int waitedSeconds = 0;
        Progress::Phase phase = Progress::Phase::Starting;
        /// What the result file says; the log's verdict counts.
        UpdaterLog::Verdict fileVerdict = UpdaterLog::Verdict::None;
        UpdaterLog log;
        QString imagePath;
        QString updaterPath;
    };

    Code code = Done;
    /// Empty: the code says enough.
    QString sentence;

    /// "flashed", "failed", "no-microphone" ...
    QString name() const;

    static Outcome of(const Facts &facts);
    static Outcome imageGood();
    static Outcome imageRefused(const QString &path, const QString &why);
    /// Of --list, which said everything; nothing more is said when there are some.
    static Outcome listed(int microphones);
    static Outcome notStarted(const QString &why);
    static Outcome wrongUsage(const QString &why);

    /// What an upgrade that did not come to its verdict may leave behind, and what to
    /// do about it.
    static QString aftermath(Progress::Phase phase);
    /// The codes as --help lists them.
    static QString codeList();
};
