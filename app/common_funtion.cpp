#include "app/common_funtion.h"

QString common_funtion::fileNameOf(const QString &editText)
{
    constexpr int urlPrefixLength = 8; // "file:///"
    return editText.startsWith(QLatin1String("file")) ? editText.mid(urlPrefixLength) : editText;
}
