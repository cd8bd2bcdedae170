#pragma once

#include "launcher/Display.h"

/// For people. A terminal gets a bar that is redrawn; other output gets a line for each phase and
/// every 10 %. The outcome goes to standard error unless the run succeeded.
class TextDisplay : public Display
{
public:
    void image(const ImageReport &report, Detail detail) override;
    void microphone(const PluggedIn &microphone) override;
    void progress(const Progress &progress) override;
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

    /// The bar for a terminal with this many columns. It is always shorter, and its length does
    /// not depend on the progress.
    static QString barLine(const Progress &progress, int columns);

private:
    /// Ends the bar's line.
    void leaveBar();

    /// The bar that the terminal shows.
    QString bar;
    /// What the last line of other output showed. -1: there was none.
    int shownTenth = -1;
    Progress::Phase shownPhase = Progress::Phase::Starting;
};
