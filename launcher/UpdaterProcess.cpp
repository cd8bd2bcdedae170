#include "launcher/UpdaterProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

QString UpdaterProcess::besideUs()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(programName());
}

QString UpdaterProcess::argumentFor(const QString &imagePath)
{
    // "file" would be taken for a URL's begin and cut off, "-" for an option of the
    // toolkit.  The prefix names the same file and no other microphone.
    const bool misread =
        imagePath.startsWith(QLatin1String("file")) || imagePath.startsWith(QLatin1Char('-'));
    return misread ? QLatin1String("./") + imagePath : imagePath;
}

void UpdaterProcess::start(const QString &program, const QString &imagePath, const QString &logPath)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Settings that would silence or dress up the lines that UpdaterLog looks for.
    environment.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default=true"));
    addPlatformSettings(&environment);
    setProcessEnvironment(environment);
    setStandardInputFile(nullDevice());
    setProcessChannelMode(MergedChannels);
    setStandardOutputFile(logPath, Append);
    // With its folder, so that it is not looked for on PATH.
    QProcess::start(QFileInfo(program).absoluteFilePath(), {argumentFor(imagePath)});
}
