#pragma once

#include <string>

namespace sim {

/// Puts the bus driver that stands beside this program into the system, and takes it out.
/// Results are empty, or one line about what went wrong.
class Installer
{
public:
    /// Nothing to do when it runs already.
    static std::string install();
    static std::string remove();
};

} // namespace sim
