#pragma once

#include "launcher/Outcome.h"
#include "launcher/Progress.h"

class ImageReport;
struct PluggedIn;

/// Where a run is shown.  Main thread.
class Display
{
public:
    enum class Detail
    {
        Summary,
        Table
    };

    virtual ~Display() = default;
    Display(const Display &) = delete;
    Display &operator=(const Display &) = delete;
    Display(Display &&) = delete;
    Display &operator=(Display &&) = delete;

    /// An image that is in order.
    virtual void image(const ImageReport &report, Detail detail) = 0;
    /// A microphone that is plugged in.
    virtual void microphone(const PluggedIn &microphone) = 0;
    /// Called several times a second, whether anything has changed or not.
    virtual void progress(const Progress &progress) = 0;
    /// A question or a note that needs no answer here.
    virtual void note(const QString &text) = 0;
    /// Once, at the end.
    virtual void outcome(const Outcome &outcome) = 0;

protected:
    Display() = default;
};
