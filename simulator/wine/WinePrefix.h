#pragma once

#include "simulator/host/FileDescriptor.h"

#include <string>

namespace sim {

/// The wine prefix of a run, with the simulated bus in it.
class WinePrefix
{
public:
    /// Makes it usable: takes the one lock that it has, makes the prefix if it is new, has
    /// its wine run, installs the driver that stands beside the bridge.  Empty, or one
    /// line that says what is wrong and what to do.
    std::string prepare();
    /// Its velmo-simbridge.exe.
    const std::string &bridge() const { return bridgePath; }

private:
    std::string lock(const std::string &folder);
    std::string startServer();
    std::string installDriver();

    std::string bridgePath;
    FileDescriptor lockFile;
};

} // namespace sim
