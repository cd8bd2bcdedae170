#include "launcher/PlainDisplay.h"

#include "launcher/ImageReport.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <cstdio>

namespace {

constexpr int labelWidth = 13;
constexpr int percentOfTenth = 10;
constexpr qint64 millisecondsOfSecond = 1000;

} // namespace

void PlainDisplay::image(const ImageReport &report, Detail detail)
{
    Terminal::print(stdout, detail == Detail::Table ? report.table() : report.summary(),
                    QString(labelWidth, QLatin1Char(' ')));
}

void PlainDisplay::microphone(const PluggedIn &microphone)
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

void PlainDisplay::progress(const Progress &progress)
{
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

void PlainDisplay::note(const QString &text)
{
    Terminal::print(stderr, text + QLatin1Char('\n'));
}

void PlainDisplay::outcome(const Outcome &outcome)
{
    if (!outcome.message.isEmpty())
        Terminal::print(outcome.code == Outcome::Done ? stdout : stderr,
                        outcome.message + QLatin1Char('\n'));
}
