#pragma once

#include "launcher/PlainDisplay.h"

/// For terminals: redraws one line.
class BarDisplay : public PlainDisplay
{
public:
    void progress(const Progress &progress) override;
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

    /// The line for a terminal with this many columns. It is always shorter, and its length
    /// does not depend on the progress.
    static QString line(const Progress &progress, int columns);

private:
    void leaveLine();

    QString shown;
};
