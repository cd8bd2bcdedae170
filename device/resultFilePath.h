#pragma once

#include <QFileInfo>
#include <QStandardPaths>
#include <QString>

/// The file in which the updater tells launching applications how far it is
/// (docs/integration.md). It is in the folder "CorvoUpgrade" beside the program's data folder of
/// this user, on Windows the roaming one.
inline QString resultFilePath()
{
    const QString data =
        QStandardPaths::standardLocations(QStandardPaths::AppDataLocation).value(0);
    return QFileInfo(data).absolutePath() + QLatin1String("/CorvoUpgrade/Firmware_bin.txt");
}
