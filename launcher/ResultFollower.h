#pragma once

#include <QByteArray>

/// Understands the updater's result file as it grows: one percentage a line, then
/// "success 1" or "success -1" without a line end.
///
/// Takes whatever pieces a reader finds: a line counts when its end is there, the
/// outcome when its last character is, and lines of another form are passed over.
/// Pure, any thread.
class ResultFollower
{
public:
    enum class Verdict
    {
        None,
        Success,
        Failure
    };

    /// What was appended since the last call.  Line ends with or without CR.
    void take(const QByteArray &bytes);

    /// The highest so far, 0 to 100.
    int percent() const { return highestPercent; }
    /// Percentage lines so far.
    int steps() const { return stepCount; }
    Verdict verdict() const { return outcome; }

private:
    void takeLine(const QByteArray &line);

    QByteArray unfinished;
    int highestPercent = 0;
    int stepCount = 0;
    Verdict outcome = Verdict::None;
};
