#include "launcher/Terminal.h"

#include <QStringList>

#include <algorithm>

void Terminal::print(std::FILE *stream, const QString &text, int indent)
{
    const int width = columns(stream);
    const QString shown = width > 0 ? wrapped(text, width, indent) : text;
    std::fputs(shown.toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

QString Terminal::printable(QString text)
{
    std::replace_if(
        text.begin(), text.end(), [](QChar character) { return !character.isPrint(); }, '?');
    return text;
}

QString Terminal::wrapped(const QString &text, int columns, int indent)
{
    QStringList lines;
    for (QString rest : text.split('\n')) {
        while (rest.size() >= columns) {
            int end = rest.lastIndexOf(' ', columns - 1);
            if (end <= indent)
                end = rest.indexOf(' ', indent + 1);
            if (end == -1)
                break; // the rest is one long word
            lines += rest.left(end);
            rest = QString(indent, ' ') + rest.mid(end).trimmed();
        }
        lines += rest;
    }
    return lines.join('\n');
}
