#include "launcher/UpdaterProcess.h"

#include "launcher/Terminal.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

QString UpdaterProcess::defaultPath()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(VELMO_UPDATER);
}

UpdaterProcess::UpdaterProcess(const QString &program, const QString &imagePath)
{
    // An absolute path, so that it is not searched for in PATH.
    setProgram(QFileInfo(program).absoluteFilePath());
    // The updater takes "file" for the start of a URL and "-" for an option of the toolkit. The
    // prefix names the same file. The path is not made absolute, because the whole path selects
    // the microphone and a parent folder must not change that.
    const bool isMisread = imagePath.startsWith("file") || imagePath.startsWith('-');
    setArguments({isMisread ? "./" + imagePath : imagePath});

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Without a display no message box can wait for the user: its text goes to the output. A
    // pattern could hide the lines that UpdaterLog looks for.
    for (const char *each : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "QT_MESSAGE_PATTERN"})
        environment.remove(each);
    environment.insert("QT_LOGGING_RULES", "default=true");
    // Otherwise a Windows program without a console sends its debug output to the debugger.
    environment.insert("QT_FORCE_STDERR_LOGGING", "1");
    setProcessEnvironment(environment);
    setStandardInputFile(nullDevice());
    setProcessChannelMode(MergedChannels);
}

void UpdaterProcess::setupChildProcess()
{
    Terminal::leave();
}
