#include "launcher/resultFilePlace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

/// The folder that holds every program's folder for the user's data.
QString dataFolder()
{
    // The same question the updater asks: the program's own folder, and up from there.
    const QString ours =
        QStandardPaths::standardLocations(QStandardPaths::AppDataLocation).value(0);
    return QFileInfo(ours).absolutePath();
}

QString resultFolder()
{
    return dataFolder() + QLatin1String("/CorvoUpgrade");
}

} // namespace

QString resultFilePlace()
{
    return resultFolder() + QLatin1String("/Firmware_bin.txt");
}

QString obstacleToResultFile()
{
    // The updater makes one level only.
    if (!QDir().mkpath(resultFolder()))
        return QStringLiteral("the folder %1 cannot be made").arg(resultFolder());
    // An updater that cannot empty the file goes on without it, and what an earlier
    // run left there would stand.
    QFile file(resultFilePlace());
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append))
        return QStringLiteral("%1 cannot be written: %2").arg(file.fileName(), file.errorString());
    return {};
}
