#pragma once

/// What the user's Ctrl-C means: the first one brings up a question, the next one after it
/// is the answer.  Pure.
class InterruptQuestion
{
public:
    enum class Meaning
    {
        Nothing,
        Ask,
        End
    };

    /// `pressed`: how often so far.
    Meaning take(int pressed)
    {
        if (pressed == seen)
            return Meaning::Nothing;
        const bool asked = seen > 0;
        // Of two presses before the question none was its answer.
        seen = pressed;
        return asked ? Meaning::End : Meaning::Ask;
    }

private:
    int seen = 0;
};
