#include "launcher/UpdaterProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

QString UpdaterProcess::defaultPath()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(programName());
}

QString UpdaterProcess::argumentFor(const QString &imagePath)
{
    // The updater takes "file" for the start of a URL and "-" for an option of the toolkit. The
    // prefix names the same file and selects the same microphone.
    const bool misread =
        imagePath.startsWith(QLatin1String("file")) || imagePath.startsWith(QLatin1Char('-'));
    return misread ? QLatin1String("./") + imagePath : imagePath;
}

void UpdaterProcess::start(const QString &program, const QString &imagePath, const QString &logPath)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // These settings could hide or change the lines that UpdaterLog looks for.
    environment.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default=true"));
    addPlatformSettings(&environment);
    setProcessEnvironment(environment);
    setStandardInputFile(nullDevice());
    setProcessChannelMode(MergedChannels);
    setStandardOutputFile(logPath, Append);
    // An absolute path, so that it is not searched for in PATH.
    QProcess::start(QFileInfo(program).absoluteFilePath(), {argumentFor(imagePath)});
}
