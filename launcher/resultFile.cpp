#include "launcher/resultFile.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

QString resultFilePath()
{
    // Like the updater: the parent of the program's data folder.
    const QString ours =
        QStandardPaths::standardLocations(QStandardPaths::AppDataLocation).value(0);
    return QFileInfo(ours).absolutePath() + QLatin1String("/CorvoUpgrade/Firmware_bin.txt");
}

InputReport::Verdict resultFileVerdict()
{
    QFile file(resultFilePath());
    // The outcome has no line end.
    const bool readable = file.open(QIODevice::ReadOnly);
    const QByteArray outcome = readable ? file.readAll().split('\n').last() : QByteArray();
    if (outcome == "success 1")
        return InputReport::Verdict::Succeeded;
    return outcome == "success -1" ? InputReport::Verdict::Failed : InputReport::Verdict::None;
}
