#pragma once

#include "launcher/Outcome.h"
#include "launcher/Progress.h"

class ImageReport;
struct PluggedIn;

/// Shows a run to the user or a program. Main thread.
class Display
{
public:
    enum class Detail
    {
        Summary,
        Table
    };

    Display() = default;
    Q_DISABLE_COPY_MOVE(Display)
    virtual ~Display() = default;

    /// A valid image.
    virtual void image(const ImageReport &report, Detail detail) = 0;
    virtual void microphone(const PluggedIn &microphone) = 0;
    /// Called several times a second, even if nothing has changed.
    virtual void progress(const Progress &progress) = 0;
    /// A message during the run.
    virtual void note(const QString &text) = 0;
    /// Called once, at the end.
    virtual void outcome(const Outcome &outcome) = 0;
};
