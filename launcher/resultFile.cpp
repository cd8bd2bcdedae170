#include "launcher/resultFile.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

QString resultFilePlace()
{
    // The same question the updater asks: the program's own folder, and up from there.
    const QString ours =
        QStandardPaths::standardLocations(QStandardPaths::AppDataLocation).value(0);
    return QFileInfo(ours).absolutePath() + QLatin1String("/CorvoUpgrade/Firmware_bin.txt");
}

InputReport::Verdict resultFileVerdict()
{
    QFile file(resultFilePlace());
    // The outcome has no line end; without the file there is none.
    const bool readable = file.open(QIODevice::ReadOnly);
    const QByteArray outcome = readable ? file.readAll().split('\n').last() : QByteArray();
    if (outcome == "success 1")
        return InputReport::Verdict::Succeeded;
    return outcome == "success -1" ? InputReport::Verdict::Failed : InputReport::Verdict::None;
}
