#pragma once

namespace sim {

/// Installs the bus driver, whose files are in this program's folder.
class Installer
{
public:
    /// Does nothing when the driver runs already.  Throws std::runtime_error with a sentence.
    static void install();
};

} // namespace sim
