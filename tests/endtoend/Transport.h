#pragma once

#include <QByteArray>
#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

/// How the simulated microphone is connected to the program of a run.
struct Transport
{
    /// The one that VELMO_TRANSPORT names, for all runs of a test program: "drop-in", which
    /// is the default, "umockdev" or "wine".  All runs on wine share one prefix, so they come
    /// one after the other; there VELMO_WINDOWS_PROGRAM is the path of Velmo_KVX2_DFU.exe,
    /// and scripts/wine.sh makes the prefix.
    static const Transport &chosen();

    /// The updater, or a host program that connects the microphone and starts the updater,
    /// followed by its arguments.  It gets VELMO_SIM and VELMO_SIM_TRACE, ends with the
    /// updater's exit code, and ends the updater when it is killed.
    QStringList command;
    /// The same for another updater beside the one of a run.
    QStringList secondCommand;
    /// What a run's environment has besides.
    QProcessEnvironment environment;
    /// Seen from the run's home.
    QString resultFile;
    /// The result file's line end there.
    QByteArray lineEnd;
    /// Scenarios with one of these among their settings cannot be had there.
    QList<QByteArray> refused;
};
