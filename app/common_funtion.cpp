#include "app/common_funtion.h"

#include <QFileInfo>
#include <QStandardPaths>

QString common_funtion::perUserFolder()
{
    const QString applicationData =
        QStandardPaths::standardLocations(QStandardPaths::AppDataLocation).value(0);
    return QFileInfo(applicationData).absolutePath() + QLatin1String("/CorvoUpgrade");
}

QString common_funtion::fileNameOf(const QString &editText)
{
    constexpr int urlPrefixLength = 8; // "file:///"
    return editText.startsWith(QLatin1String("file")) ? editText.mid(urlPrefixLength) : editText;
}
