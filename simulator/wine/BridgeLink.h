#pragma once

#include "simulator/host/ChildProcess.h"
#include "simulator/host/FileDescriptor.h"
#include "simulator/windows/BridgeLine.h"

#include <optional>
#include <string>
#include <vector>

namespace sim {

/// velmo-simbridge.exe, running, and the lines to and from it.
class BridgeLink
{
public:
    bool start(const std::string &bridge);
    /// Can be read when lines() has something new to give, the end included.
    int descriptor() const { return fromBridge.get(); }
    void send(const BridgeLine &line) const;
    /// What has come since the last time; waits for something.  Nothing at all when the
    /// bridge has ended.
    std::optional<std::vector<BridgeLine>> lines();
    /// The bridge unplugs everything and ends.
    void finish();

private:
    FileDescriptor toBridge;
    FileDescriptor fromBridge;
    ChildProcess process;
    std::string received;
};

} // namespace sim
