#pragma once

#include "simulator/model/Bus.h"
#include "simulator/model/IBusListener.h"
#include "simulator/umockdev/HidrawNode.h"
#include "simulator/umockdev/Testbed.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace sim {

/// The simulated bus behind a test bed's hidraw nodes, around one program.
///
/// One thread owns the bus. The test bed's own thread passes the program's requests to it
/// through the inbox.
class UmockdevHost : private IBusListener
{
public:
    /// Plugs the settings' devices in. Throws std::runtime_error with a sentence.
    UmockdevHost();
    /// Starts the program and serves it until it ends; its exit code, or 128 and the number
    /// of the signal that ended it. The thread that calls this lives as long as the process.
    int run(char *const *arguments);

private:
    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const Bus::Report &report) override;

    void take(const HidrawNode::Request &request);

    Bus bus;
    /// Guards what follows.
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<HidrawNode::Request> inbox;
    std::optional<int> exitCode;

    /// All nodes since the start, because a program may have any of them open.
    std::vector<std::unique_ptr<HidrawNode>> nodes;
    /// The devices' nodes, by index. Null while a device is off the bus.
    std::vector<HidrawNode *> current;
    /// Destroyed before the nodes, because its thread calls them.
    Testbed testbed;
};

} // namespace sim
