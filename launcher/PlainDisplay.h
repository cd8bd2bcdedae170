#pragma once

#include "launcher/Display.h"

/// Plain lines, for output that is no terminal: one for each phase and each tenth.
/// The last one goes to standard error unless all went well.
class PlainDisplay : public Display
{
public:
    void image(const ImageReport &report, Detail detail) override;
    void microphone(const PluggedIn &microphone) override;
    void progress(const Progress &progress) override;
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

private:
    /// What the last line said; nothing yet.
    int shownTenth = -1;
    Progress::Phase shownPhase = Progress::Phase::Starting;
};
