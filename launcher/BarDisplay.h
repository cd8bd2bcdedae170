#pragma once

#include "launcher/PlainDisplay.h"

/// A terminal: one line that is drawn over and over.
class BarDisplay : public PlainDisplay
{
public:
    void progress(const Progress &progress) override;
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

    /// The line for a terminal of so many columns: shorter than that, and of the same
    /// length whatever the progress.
    static QString line(const Progress &progress, int columns);

private:
    void leaveLine();

    QString shown;
};
