#pragma once

#include "launcher/Outcome.h"
#include "launcher/Progress.h"

#include <QJsonObject>
#include <QString>

#include <cstdio>

/// Shows a run. For people a terminal gets a bar that is redrawn, and other output a line for
/// each phase and every 10 %. Programs get one JSON object per line on standard output, in UTF-8,
/// and nothing else. Main thread.
class Display
{
public:
    explicit Display(bool forPrograms)
        : json(forPrograms)
    {
    }

    /// Shows either the object, with its member "event", or the text, whose continuation lines
    /// start with so many blanks.
    void show(const char *event, QJsonObject object, const QString &text, int indent = 0,
              std::FILE *stream = stdout);
    /// Call it several times a second, even if nothing has changed.
    void progress(const Progress &progress);
    /// A message during the run, on standard error.
    void note(const QString &text);
    /// The last event. The text goes to standard error unless the run succeeded.
    void end(const Outcome &outcome);

private:
    /// The bar for a terminal with this many columns. It is always shorter, and its length does
    /// not depend on the progress.
    static QString barLine(const Progress &progress, int columns);
    /// Ends the bar's line.
    void leaveBar();

    bool json;
    /// The bar that the terminal shows.
    QString bar;
    /// What the last line of other output showed. -1: there was none.
    int shownStep = -1;
    Progress::Phase shownPhase = Progress::Phase::Starting;
};
