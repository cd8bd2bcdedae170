#pragma once

namespace sim {

/// Puts the bus driver that stands beside this program into the system.
class Installer
{
public:
    /// Nothing to do when it runs already.  Throws std::runtime_error with a sentence.
    static void install();
};

} // namespace sim
