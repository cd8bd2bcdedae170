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
    UpdaterRun();
    ~UpdaterRun();
    UpdaterRun(const UpdaterRun &) = delete;
    UpdaterRun &operator=(const UpdaterRun &) = delete;
    UpdaterRun(UpdaterRun &&) = delete;
    UpdaterRun &operator=(UpdaterRun &&) = delete;

    /// Makes an image with velmo-mkfirmware; its path, from the home on, where the
    /// program is started.
    QString makeFirmware(const QString &name, const QStringList &options);
    /// One of 13 packets.
    QString makePlainImage();

    /// Starts the program on a simulated microphone with these settings.
    void start(const QStringList &arguments, const QByteArray &simulator);
    /// The same, with a shell around it that runs these commands: "$0" is the program,
    /// "$@" its arguments.
    void startInShell(const QByteArray &commands, const QStringList &arguments,
                      const QByteArray &simulator);
    /// Starts another one in the same home.
    void startSecond(QProcess *second, const QStringList &arguments,
                     const QByteArray &simulator) const;

    bool waitForExit(int milliseconds);
    /// Until the result file ends in this text; false when the time is up or the
    /// program has ended without it.
    bool waitForResultEnd(const QByteArray &text, int milliseconds);
    void kill();

    QString path(const char *name) const { return home.filePath(QString::fromLatin1(name)); }
    QByteArray result() const;
    /// The percentages of the result file, in order.
    QList<int> percentages() const;
    /// Lines of the microphone's trace that hold this text.
    QStringList traceLines(const QString &text) const;
    /// Reports that the microphone took.
    int packetsTaken() const;
    QByteArray debugOutput() const;
    QByteArray standardOutput() const;
    QProcess process;
    /// The X display to show windows on; empty: the program runs without any.
    QString display;

private:
    QString resultFile() const;
    QProcessEnvironment environment(const QByteArray &simulator, const QString &trace) const;

    QTemporaryDir home;
};
