#pragma once

#include "launcher/Display.h"

class QJsonObject;

/// For programs: standard output gets one JSON object a line, in UTF-8, and nothing
/// else.  Its "event" is "image", "microphone", "progress" or "outcome"; the outcome
/// comes last.
class JsonDisplay : public Display
{
public:
    /// Everything there is, whatever the detail.
    void image(const ImageReport &report, Detail detail) override;
    void microphone(const PluggedIn &microphone) override;
    void progress(const Progress &progress) override;
    /// To standard error.
    void note(const QString &text) override;
    void outcome(const Outcome &outcome) override;

private:
    static void print(const QString &event, QJsonObject object);

    bool hasShown = false;
    Progress shown;
};
