#pragma once

/// What a Ctrl-C means: the first one leads to a question, the next one answers it.
class InterruptQuestion
{
public:
    enum class Meaning
    {
        Nothing,
        Ask,
        End
    };

    /// `pressed`: how many times Ctrl-C was pressed so far.
    Meaning take(int pressed)
    {
        if (pressed == seen)
            return Meaning::Nothing;
        const bool asked = seen > 0;
        // Several presses before the question do not answer it.
        seen = pressed;
        return asked ? Meaning::End : Meaning::Ask;
    }

private:
    int seen = 0;
};
