#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The real program in a home of its own: its own data, temporary and therefore
/// single-instance name space.  Whatever still runs at the end is killed.
class UpdaterRun
{
public:
    // Far above what a run takes, for machines under load.
    static constexpr int endTimeoutMs = 90000;
    /// Microphones that take the packets quickly; the second one gives no verdict.
    static constexpr const char *quickMicrophone = "silent=entry;enter-time=20";
    static constexpr const char *silentMicrophone = "silent=all;enter-time=20";

    UpdaterRun();
    ~UpdaterRun();
    Q_DISABLE_COPY_MOVE(UpdaterRun)

    /// Makes an image with velmo-mkfirmware; its path, from the home on, where the
    /// program is started.
    QString makeFirmware(const QString &name, const QStringList &options);
    /// One of 13 packets, unless other options are given.
    QString makePlainImage(const char *options = "--records 6 --size 100");

    /// Starts the program on a simulated microphone with these settings.
    void start(const QStringList &arguments, const QByteArray &simulator);
    /// The same, with a shell around it that runs these commands: "$0" is the program,
    /// "$@" its arguments.
    void startInShell(const QByteArray &commands, const QStringList &arguments,
                      const QByteArray &simulator);
    /// The same with velmo-flash in place of the program.
    void startLauncher(const QStringList &arguments, const QByteArray &simulator);
    /// Starts another one in the same home.
    void startSecond(QProcess *second, const QStringList &arguments,
                     const QByteArray &simulator) const;

    bool waitForExit(int milliseconds = endTimeoutMs);
    /// Waits for the end; -1 when there was none in time, or a crash.
    int exitCode();
    /// Until the result file ends in this text; false when the time is up or the
    /// program has ended without it.
    bool waitForResultEnd(const QByteArray &text, int milliseconds = endTimeoutMs) const;
    void kill();

    QString path(const char *name) const { return home.filePath(QString::fromLatin1(name)); }
    /// Empty when there is no such regular file.
    static QByteArray contentOf(const QString &path);
    QString resultFile() const;
    QByteArray result() const;
    /// The result file's last line.
    QByteArray outcome() const { return result().split('\n').last(); }
    /// The percentages of the result file, in order.
    QList<int> percentages() const;
    /// Lines of the microphone's trace that hold this text.
    QStringList traceLines(const QString &text) const;
    /// Reports that the microphone took.
    int packetsTaken() const;
    QByteArray debugOutput() const { return contentOf(path("stderr.txt")); }
    QByteArray standardOutput() const { return contentOf(path("stdout.txt")); }
    /// Of programs with such a name that have this home, whoever started them.
    QList<qint64> processes(const char *name) const;
    QProcess process;
    /// What is started in the updater's place, with the same arguments; empty: the updater.
    QString otherProgram;
    /// The X display to show windows on; empty: the program runs without any.
    QString display;

private:
    void launch(QProcess *updater, const QStringList &command, const QByteArray &simulator,
                const char *trace) const;

    QTemporaryDir home;
};
