#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The real program in its own home, with its own data and temporary folders. The temporary
/// folder decides which updaters exclude each other. The destructor kills the program.
/// VELMO_TRANSPORT connects the simulated microphone: "drop-in" (the default), "umockdev", or
/// "wine", which needs what scripts/wine.sh sets and allows one run at a time.
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

    /// Makes an image with velmo-mkfirmware. Returns its path, relative to the home, where the
    /// program is started.
    QString makeFirmware(const QString &name, const QStringList &options);
    /// An image of 13 packets, unless other options are given.
    QString makePlainImage(const char *options = "--records 6 --size 100");

    /// Starts the program on a simulated microphone with these settings.
    void start(const QStringList &arguments, const QByteArray &simulator);
    /// Runs these commands in a shell. "$0" is the program and "$@" its arguments.
    void startInShell(const QByteArray &commands, const QStringList &arguments,
                      const QByteArray &simulator);
    /// Starts velmo-flash instead of the program.
    void startLauncher(const QStringList &arguments, const QByteArray &simulator);
    /// Starts a second program in the same home.
    void startSecond(QProcess *second, const QStringList &arguments,
                     const QByteArray &simulator) const;

    bool waitForExit(int milliseconds = endTimeoutMs);
    /// Waits for the end. Returns -1 if it does not come in time, or after a crash.
    int exitCode();
    /// Waits until the result file ends in this text. False if the time is up or the program ends
    /// without it.
    bool waitForResultEnd(const QByteArray &text, int milliseconds = endTimeoutMs) const;
    void kill();

    QString path(const char *name) const { return home.filePath(name); }
    /// Empty if there is no such regular file.
    static QByteArray contentOf(const QString &path);
    QString resultFile() const;
    QByteArray result() const;
    /// The result file's last line.
    QByteArray outcome() const { return result().split('\n').last(); }
    /// The percentages of the result file, in order.
    QList<int> percentages() const;
    /// Lines of the microphone's trace that contain this text.
    QStringList traceLines(const QString &text) const;
    /// Number of reports that the microphone took.
    int packetsTaken() const;
    QByteArray debugOutput() const { return contentOf(path("stderr.txt")); }
    QByteArray standardOutput() const { return contentOf(path("stdout.txt")); }
    /// Ids of the processes in this home whose program has such a name, whoever started them.
    QList<qint64> processes(const char *name) const;
    QProcess process;
    /// The program to start instead of the updater, with the same arguments. Empty: the updater.
    QString otherProgram;

private:
    void launch(QProcess *updater, const QStringList &command, const QByteArray &simulator,
                const char *trace) const;

    QTemporaryDir home;
};
