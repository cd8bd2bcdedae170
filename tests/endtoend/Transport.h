#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

/// How the simulated microphone is connected to the program of a run.
struct Transport
{
    /// The transport that VELMO_TRANSPORT names, for all runs of a test program: "drop-in" (the
    /// default), "umockdev" or "wine". On wine, scripts/wine.sh makes the prefix and
    /// VELMO_WINDOWS_PROGRAM is the path of Velmo_KVX2_DFU.exe. All runs on wine share one prefix,
    /// so only one runs at a time.
    static const Transport &chosen();

    /// The updater, or a host program that connects the microphone and starts the updater,
    /// followed by its arguments. It gets VELMO_SIM and VELMO_SIM_TRACE, ends with the
    /// updater's exit code, and ends the updater when it is killed.
    QStringList command;
    /// The same for a second updater during a run.
    QStringList secondCommand;
    /// Environment variables that a run needs in addition.
    QProcessEnvironment environment;
    /// The result file's path, relative to the run's home.
    QString resultFile;
    /// The line end in the result file.
    QByteArray lineEnd;
};
