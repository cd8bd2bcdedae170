#pragma once

#include "launcher/Display.h"

class QJsonObject;

/// For programs: prints one JSON object per line to standard output, in UTF-8, and nothing
/// else. "event" is "image", "microphone", "progress" or "outcome"; the outcome comes last.
class JsonDisplay : public Display
{
public:
    /// Prints everything and ignores the detail.
    void image(const ImageReport &report, Detail detail) override;
    void microphone(const PluggedIn &microphone) override;
    void progress(const Progress &progress) override;
    /// Prints to standard error.
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

private:
    static void print(const QString &event, QJsonObject object);

    /// The last progress that was printed. -1: there was none.
    Progress shown{Progress::Phase::Starting, -1};
};
