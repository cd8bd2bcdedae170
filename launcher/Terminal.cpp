#include "launcher/Terminal.h"

#include <QStringList>

#include <algorithm>

void Terminal::print(std::FILE *stream, const QString &text, const QString &indent)
{
    const int width = columns(stream);
    const QString shown = width > 0 ? wrapped(text, width, indent) : text;
    std::fputs(shown.toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

QString Terminal::printable(QString text)
{
    std::replace_if(
        text.begin(), text.end(), [](QChar character) { return !character.isPrint(); },
        QLatin1Char('?'));
    return text;
}

QString Terminal::wrapped(const QString &text, int columns, const QString &indent)
{
    QStringList lines;
    for (QString rest : text.split(QLatin1Char('\n'))) {
        while (rest.size() >= columns) {
            int end = rest.lastIndexOf(QLatin1Char(' '), columns - 1);
            if (end <= indent.size())
                end = rest.indexOf(QLatin1Char(' '), indent.size() + 1);
            if (end == -1)
                break; // the rest is one long word
            // Skip all blanks at the line break.
            int next = end;
            while (next < rest.size() && rest.at(next) == QLatin1Char(' '))
                ++next;
            while (end > 0 && rest.at(end - 1) == QLatin1Char(' '))
                --end;
            lines += rest.left(end);
            rest = indent + rest.mid(next);
        }
        lines += rest;
    }
    return lines.join(QLatin1Char('\n'));
}
