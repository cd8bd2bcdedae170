#include "launcher/Display.h"

#include "launcher/Terminal.h"

#include <QJsonDocument>

#include <algorithm>
#include <array>

namespace {

/// Some terminals wrap after the last column, and some show Ctrl-C as two characters.
constexpr int marginColumns = 3;
constexpr int widestBar = 40;
constexpr int longestText = 45;
constexpr int percentWidth = 3;
constexpr int secondsWidth = 4;
constexpr int percentOfLine = 10;

} // namespace

QString Display::barLine(const Progress &progress, int columns)
{
    const int room = std::max(0, columns - marginColumns);
    const QString percent = QStringLiteral("%1%").arg(progress.percent, percentWidth);
    const QString elapsed =
        QStringLiteral(" %1 s  ").arg(progress.elapsedMs / Progress::secondMs, secondsWidth);
    QString left;
    if (progress.leftMs != Progress::unknown) {
        // Rounded up, so that 0 s means that it is over.
        left = QStringLiteral(", %1 s left")
                   .arg((progress.leftMs + Progress::secondMs - 1) / Progress::secondMs);
    }
    // The first one that fits.
    const std::array texts = {percent + elapsed + progress.phaseText() + left,
                              percent + elapsed + progress.phaseName() + left,
                              percent + "  " + progress.phaseName() + left,
                              percent + "  " + progress.phaseName()};
    const auto *const text = std::find_if(
        texts.begin(), texts.end(), [room](const QString &each) { return each.size() <= room; });
    const QString frame = QStringLiteral("[%1] ");
    // The width must not depend on the text, or the bar would jump.
    const int width = std::min(widestBar, room - longestText - (frame.size() - 2));
    QString bar;
    if (width > 0) {
        const QString filled(progress.percent * width / Progress::wholePercent, '#');
        bar = frame.arg(filled.leftJustified(width));
    }
    return (bar + (text == texts.end() ? percent : *text)).leftJustified(room, ' ', true);
}

void Display::show(const char *event, QJsonObject object, const QString &text, int indent,
                   std::FILE *stream)
{
    if (!json) {
        leaveBar();
        Terminal::print(stream, text, indent);
        return;
    }
    object.insert("event", event);
    std::fputs(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n', stdout);
    std::fflush(stdout);
}

void Display::progress(const Progress &progress)
{
    if (const int columns = json ? 0 : Terminal::columns(stdout); columns > 0) {
        const QString line = barLine(progress, columns);
        if (line != bar)
            std::fputs("\r" + line.toLocal8Bit(), stdout);
        std::fflush(stdout);
        bar = line;
        return;
    }
    const int step = json ? progress.percent : progress.percent / percentOfLine;
    if (step == shownStep && progress.phase == shownPhase)
        return;
    shownStep = step;
    shownPhase = progress.phase;
    const double seconds = static_cast<double>(progress.elapsedMs) / Progress::secondMs;
    show("progress",
         {{"phase", progress.phaseName()}, {"percent", progress.percent}, {"seconds", seconds}},
         QStringLiteral("%1% after %2 s, %3\n")
             .arg(progress.percent)
             .arg(progress.elapsedMs / Progress::secondMs)
             .arg(progress.phaseText()));
}

void Display::note(const QString &text)
{
    leaveBar();
    Terminal::print(stderr, text + '\n');
}

void Display::end(const Outcome &outcome)
{
    show("outcome",
         {{"code", outcome.code}, {"outcome", outcome.name()}, {"message", outcome.message}},
         outcome.message.isEmpty() ? "" : outcome.message + '\n', 0,
         outcome.code == Outcome::Done ? stdout : stderr);
}

void Display::leaveBar()
{
    if (!bar.isEmpty())
        Terminal::print(stdout, "\n");
    bar.clear();
}
