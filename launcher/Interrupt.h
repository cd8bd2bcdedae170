#pragma once

/// Counts how often the user pressed Ctrl-C, which no longer ends this program.
class Interrupt
{
public:
    /// From now on.  Once in a process.
    static void watch();
    /// Any thread.
    static int count();
};
