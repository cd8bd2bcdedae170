#pragma once

/// The terminal that standard output may be.
class Terminal
{
public:
    static bool isThere();
    /// Characters in a line now; a usual number where it cannot be asked.
    static int columns();

private:
    static constexpr int usualColumns = 80;
};
