#pragma once

#include <QProcess>
#include <QString>

/// The updater as a child process without a window. All its output goes to a file, it needs no
/// display on Linux, and Ctrl-C in our terminal does not reach it. Main thread.
class UpdaterProcess : public QProcess
{
    Q_OBJECT

public:
    /// The updater in this program's folder.
    static QString defaultPath();

    /// The updater's argument for this image. It is not made absolute, because the whole path
    /// selects the microphone and a parent folder must not change that.
    static QString argumentFor(const QString &imagePath);

    /// Appends the output to `logPath`. Emits errorOccurred() if the updater does not exist or
    /// cannot be started.
    void start(const QString &program, const QString &imagePath, const QString &logPath);

protected:
    /// Runs in the child process before the updater.
    void setupChildProcess() override;

private:
    static QString programName();
    static void addPlatformSettings(QProcessEnvironment *environment);
};
