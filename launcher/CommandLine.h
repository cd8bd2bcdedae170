#pragma once

#include "launcher/Progress.h"
#include "upgrade/transferSchedule.h"

#include <QString>
#include <QStringList>

/// The parsed command line.
struct CommandLine
{
    enum class Task
    {
        Flash,
        /// --dry-run
        Check,
        /// --inspect
        Inspect,
        /// --list
        List,
        Help,
        Version
    };

    /// Seconds in which the microphone restarts and no packet is sent.
    static constexpr int restartSeconds =
        (transferSchedule::otgEntryPauseMs + transferSchedule::restartPauseMs) / Progress::secondMs;
    /// Seconds without progress before velmo-flash gives up.
    static constexpr int defaultTimeout = 120;
    static constexpr int longestTimeout = 86400;

    /// The first argument is the program's name.
    static CommandLine parse(const QStringList &arguments);

    static QString helpText();

    Task task = Task::Flash;
    QString imagePath;
    /// The image's expected checksum in lower case; empty: any.
    QString sha256;
    QString updaterPath;
    /// Where to keep the updater's output; empty: nowhere.
    QString logPath;
    int timeoutSeconds = defaultTimeout;
    bool json = false;
    /// What is wrong with the command line; empty: nothing.
    QString error;
};
