#include "upgrade/hexText.h"

QString hexText(const QByteArray &bytes)
{
    constexpr const char *digits = "0123456789abcdef";
    constexpr unsigned hexadecimal = 16;
    constexpr int charactersPerByte = 3;
    // Each packet has such a text in the debug output, before it is sent. So no QString::number(),
    // which allocates: it takes ten times as long.
    QString text(bytes.size() * charactersPerByte, Qt::Uninitialized);
    QChar *end = text.data();
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        *end++ = QLatin1Char(' ');
        if (value >= hexadecimal)
            *end++ = QLatin1Char(digits[value / hexadecimal]);
        *end++ = QLatin1Char(digits[value % hexadecimal]);
    }
    text.truncate(static_cast<int>(end - text.constData()));
    return text;
}
