#pragma once

#include <QProcess>
#include <QString>

/// The updater as a child process without a window: it needs no display, and Ctrl-C in our
/// terminal does not reach it. Main thread.
class UpdaterProcess : public QProcess
{
    Q_OBJECT

public:
    /// The updater in this program's folder.
    static QString defaultPath();

    UpdaterProcess(const QString &program, const QString &imagePath);

protected:
    /// Runs in the child process before the updater, but not on Windows: the updater has no
    /// console there, so Ctrl-C does not reach it.
    void setupChildProcess() override;
};
