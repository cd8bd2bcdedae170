#pragma once

#include "launcher/Display.h"

/// For output that is not a terminal: prints a line for each phase and every 10 %. The outcome
/// goes to standard error unless the run succeeded.
class PlainDisplay : public Display
{
public:
    void image(const ImageReport &report, Detail detail) override;
    void microphone(const PluggedIn &microphone) override;
    void progress(const Progress &progress) override;
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

private:
    /// What the last line showed. -1: there was none.
    int shownTenth = -1;
    Progress::Phase shownPhase = Progress::Phase::Starting;
};
