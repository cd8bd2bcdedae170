#pragma once

#include "simulator/Bus.h"
#include "simulator/host/FileDescriptor.h"
#include "simulator/umockdev/GObjectPointer.h"

#include <umockdev.h>

#include <mutex>
#include <vector>

namespace sim {

class HidrawNode;

/// What the program under test did with a node.
struct HostRequest
{
    HidrawNode *node;
    /// A write that waits to be completed; null: the node was opened.
    GObjectPointer<UMockdevIoctlClient> writer;
    Bus::Clock::time_point at;
};

/// Brings the program's requests from the test bed's thread to the one that owns the
/// bus.
class HostInbox
{
public:
    /// Throws std::system_error when the system is out of descriptors.
    HostInbox();

    /// Readable while requests wait.
    int pollDescriptor() const { return wake.get(); }
    /// From any thread.
    void put(HostRequest request);
    /// All that wait, in order.
    std::vector<HostRequest> takeAll();

private:
    FileDescriptor wake;
    std::mutex mutex;
    std::vector<HostRequest> requests;
};

} // namespace sim
