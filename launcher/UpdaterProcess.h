#pragma once

#include <QProcess>
#include <QString>

/// The updater as a child process without a window: its whole output goes into a
/// file, it needs no display on Linux, and keys pressed on our terminal do not reach it.
/// Main thread.
class UpdaterProcess : public QProcess
{
    Q_OBJECT

public:
    /// The one that is installed beside this program.
    static QString besideUs();

    /// The argument that names this image to the updater.  Never made absolute: the
    /// whole path decides which microphone is meant, and a folder's name must not.
    static QString argumentFor(const QString &imagePath);

    /// The output is appended to `logPath`.  An updater that is not there ends in
    /// errorOccurred(), as one that cannot be started does.
    void start(const QString &program, const QString &imagePath, const QString &logPath);

protected:
    /// In the child, before the updater.
    void setupChildProcess() override;

private:
    static QString programName();
    static void addPlatformSettings(QProcessEnvironment *environment);
};
