#pragma once

#include "simulator/Bus.h"
#include "simulator/IBusListener.h"
#include "simulator/Settings.h"
#include "simulator/Trace.h"
#include "simulator/host/ForegroundProgram.h"
#include "simulator/umockdev/HidrawNode.h"
#include "simulator/umockdev/HostInbox.h"
#include "simulator/umockdev/Testbed.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// The simulated bus behind a test bed's hidraw nodes, around one program.
///
/// One thread owns the bus; what the test bed's own thread hears of the program comes
/// to it through the inbox.
class Host : private IBusListener
{
public:
    /// Plugs the settings' devices in.  Throws std::runtime_error with a sentence.
    Host(Trace *hostTrace, const Settings &settings, const std::string &text);
    /// Starts the program and serves it until it ends; its exit code.
    int run(char *const *arguments);

private:
    /// A write until its time on the wire is over.
    struct Transfer
    {
        HostRequest request;
        /// Which write it is, over all nodes, from 1 on.
        std::uint32_t call;
        Bus::Clock::time_point due;
    };

    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const InputReport &report) override;

    void waitFor(std::optional<Bus::Clock::time_point> next) const;
    void take(HostRequest request);
    std::optional<Bus::Clock::time_point> runTransfers();
    void finish(const Transfer &transfer);
    std::optional<std::size_t> deviceOf(const HidrawNode *node) const;
    std::size_t nextReportSize();

    Trace *trace;
    Bus bus;
    ForegroundProgram child;
    HostInbox inbox;
    /// Of the reports handed to the program; on the test bed's thread.
    std::atomic<std::uint32_t> reportsRead{0};
    std::uint32_t writeCalls = 0;
    /// In order: a slow one holds up those behind it.
    std::deque<Transfer> transfers;
    /// All that there ever were: a program may have any of them open.
    std::vector<std::unique_ptr<HidrawNode>> nodes;
    /// By the device's index; null while it is off the bus.
    std::vector<HidrawNode *> current;
    /// Gone before the nodes: its thread calls them.
    Testbed testbed;
};

} // namespace sim
