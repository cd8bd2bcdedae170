#pragma once

#include <QString>
#include <QStringList>

/// What the user asks for.
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

    /// Seconds without progress before a run is given up.
    static constexpr int defaultTimeout = 120;
    static constexpr int longestTimeout = 86400;

    /// `arguments`: the program's name first.
    static CommandLine parse(const QStringList &arguments);

    static QString helpText();

    Task task = Task::Flash;
    QString imagePath;
    /// The image's checksum in small letters; empty: any will do.
    QString sha256;
    /// Empty: the one beside this program.
    QString updaterPath;
    /// The updater's output goes there; empty: it is not kept.
    QString logPath;
    int timeoutSeconds = defaultTimeout;
    bool json = false;
    /// What is wrong with the command line; empty: nothing.
    QString fault;
};
