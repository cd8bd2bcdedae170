#pragma once

#include "tests/endtoend/UpdaterRun.h"

#include <QCoreApplication>
#include <QDir>
#include <QThread>
#include <QVector>

#include <algorithm>
#include <cstdio>

/// Runs the updater and a bare program (bare.cpp) on the simulated microphone and compares them.
namespace compare {

/// The microphone does not answer the upgrade-mode command, so the 7 s pause is skipped.
constexpr const char *noPause = "silent=entry;enter-time=20";
constexpr int runTimeoutMs = 120000;
constexpr int rounds = 7;

inline double median(QVector<double> values)
{
    const auto middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The bare program; for a Windows program's run it is copied to where its libraries are.
inline QString bareProgram()
{
    const QDir folder(QCoreApplication::applicationDirPath());
    const QString updater = qEnvironmentVariable("VELMO_WINDOWS_PROGRAM");
    if (updater.isEmpty())
        return folder.filePath(QStringLiteral("bare"));
    const QString copy = QFileInfo(updater).dir().filePath(QStringLiteral("bare.exe"));
    QFile::remove(copy);
    QFile::copy(folder.filePath(QStringLiteral("../../windows/bench/bare.exe")), copy);
    return copy;
}

/// measure(run) starts the run and returns its figure. The programs take turns, so that a change
/// of the machine's speed affects both.
template <typename Measure>
void print(const char *what, int times, Measure measure)
{
    const QString bare = bareProgram();
    QVector<double> figures[2];
    for (int i = 0; i < 2 * times; ++i) {
        UpdaterRun run;
        if (i % 2 != 0)
            run.otherProgram = bare;
        figures[i % 2] += measure(run);
    }
    const double updater = median(figures[0]);
    const double reference = median(figures[1]);
    std::printf("%-44s %9.3f, bare %9.3f, ratio %.3f\n", what, updater, reference,
                updater / reference);
    std::fflush(stdout);
}

/// The milliseconds of a line of the microphone's trace, since the microphone's start.
inline double timeOf(const QString &line)
{
    return line.section(QLatin1Char(' '), 0, 0).toDouble();
}

/// Waits for such a line.
inline void waitForTrace(UpdaterRun &run, const char *text)
{
    constexpr unsigned long pollMicroseconds = 200;
    while (run.traceLines(QString::fromLatin1(text)).isEmpty()) {
        if (run.waitForExit(0))
            qFatal("the program has ended: %s", run.debugOutput().constData());
        QThread::usleep(pollMicroseconds);
    }
}

} // namespace compare
