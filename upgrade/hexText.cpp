#include "upgrade/hexText.h"

QString hexText(const QByteArray &bytes)
{
    constexpr int hexadecimal = 16;
    constexpr int charactersPerByte = 3;
    QString text;
    text.reserve(bytes.size() * charactersPerByte);
    for (const char byte : bytes) {
        text += QLatin1Char(' ');
        text += QString::number(static_cast<unsigned char>(byte), hexadecimal);
    }
    return text;
}
