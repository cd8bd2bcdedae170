#include "launcher/TextDisplay.h"

#include "launcher/ImageReport.h"
#include "launcher/PluggedIn.h"
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
constexpr int labelWidth = 13;
constexpr int percentOfTenth = 10;
constexpr qint64 millisecondsOfSecond = 1000;

} // namespace

QString TextDisplay::barLine(const Progress &progress, int columns)
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

void TextDisplay::image(const ImageReport &report, Detail detail)
{
    Terminal::print(stdout, detail == Detail::Table ? report.table() : report.summary(),
                    QString(labelWidth, QLatin1Char(' ')));
}

void TextDisplay::microphone(const PluggedIn &microphone)
{
    const QString rule = microphone.pathRule();
    Terminal::print(
        stdout,
        QStringLiteral("%1  %2  %3  %4  %5\n")
            .arg(microphone.id(),
                 microphone.product.isEmpty() ? QStringLiteral("(no name)") : microphone.product,
                 microphone.node,
                 rule.isEmpty() ? QStringLiteral("selected by no path")
                                : QStringLiteral("selected by a path ") + rule,
                 microphone.openError.isEmpty()
                     ? QStringLiteral("opens")
                     : QStringLiteral("does not open: ") + microphone.openError),
        QStringLiteral("    "));
}

void TextDisplay::progress(const Progress &progress)
{
    if (const int columns = Terminal::columns(stdout); columns > 0) {
        const QString line = barLine(progress, columns);
        if (line != bar)
            std::fputs(("\r" + line.toLocal8Bit()).constData(), stdout);
        std::fflush(stdout);
        bar = line;
        return;
    }
    const int tenth = progress.percent / percentOfTenth;
    if (tenth == shownTenth && progress.phase == shownPhase)
        return;
    shownTenth = tenth;
    shownPhase = progress.phase;
    Terminal::print(stdout, QStringLiteral("%1% after %2 s, %3\n")
                                .arg(progress.percent)
                                .arg(progress.elapsedMs / millisecondsOfSecond)
                                .arg(progress.phaseText()));
}

void TextDisplay::note(const QString &text)
{
    leaveBar();
    Terminal::print(stderr, text + QLatin1Char('\n'));
}

void TextDisplay::outcome(const Outcome &outcome)
{
    leaveBar();
    if (!outcome.message.isEmpty())
        Terminal::print(outcome.code == Outcome::Done ? stdout : stderr,
                        outcome.message + QLatin1Char('\n'));
}

void TextDisplay::leaveBar()
{
    if (!bar.isEmpty())
        Terminal::print(stdout, QStringLiteral("\n"));
    bar.clear();
}
