#include "launcher/BarDisplay.h"

#include "launcher/Terminal.h"

#include <algorithm>
#include <cstdio>

namespace {

/// Some terminals wrap after the last column, and some show Ctrl-C as two characters.
constexpr int marginColumns = 3;
constexpr int widestBar = 40;
constexpr int wholePercent = 100;
constexpr int percentWidth = 3;
constexpr int secondsWidth = 4;
constexpr qint64 millisecondsOfSecond = 1000;

} // namespace

QString BarDisplay::line(const Progress &progress, int columns)
{
    const int room = std::max(0, columns - marginColumns);
    constexpr int longestText = 45;
    const QString percent = QStringLiteral("%1%").arg(progress.percent, percentWidth);
    const QString elapsed =
        QStringLiteral(" %1 s").arg(progress.elapsedMs / millisecondsOfSecond, secondsWidth);
    const QString word = QLatin1String("  ") + progress.phaseName();
    QString left;
    if (progress.leftMs != Progress::unknown) {
        // Rounded up, so that 0 s means that it is over.
        left = QStringLiteral(", %1 s left")
                   .arg((progress.leftMs + millisecondsOfSecond - 1) / millisecondsOfSecond);
    }
    // A part that does not fit is left out.
    QString text = percent + elapsed + QLatin1String("  ") + progress.phaseText() + left;
    if (room < longestText) {
        for (const QString &shorter :
             {percent + elapsed + word + left, percent + word + left, percent + word, percent}) {
            text = shorter;
            if (text.size() <= room)
                break;
        }
    }
    const QString frame = QStringLiteral("[%1] ");
    // The width must not depend on the text, or the bar would jump.
    const int width = std::min(widestBar, room - longestText - (frame.size() - 2));
    QString bar;
    if (width > 0) {
        const QString filled(progress.percent * width / wholePercent, QLatin1Char('#'));
        bar = frame.arg(filled.leftJustified(width));
    }
    return (bar + text).leftJustified(room, QLatin1Char(' '), true);
}

void BarDisplay::progress(const Progress &progress)
{
    const QString now = line(progress, Terminal::columns(stdout));
    if (now == shown)
        return;
    shown = now;
    std::fputs(("\r" + now.toLocal8Bit()).constData(), stdout);
    std::fflush(stdout);
}

void BarDisplay::leaveLine()
{
    if (shown.isEmpty())
        return;
    std::fputs("\n", stdout);
    std::fflush(stdout);
    shown.clear();
}

void BarDisplay::note(const QString &text)
{
    leaveLine();
    PlainDisplay::note(text);
}

void BarDisplay::outcome(const Outcome &outcome)
{
    leaveLine();
    PlainDisplay::outcome(outcome);
}
