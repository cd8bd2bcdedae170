#pragma once

#include "simulator/Bus.h"
#include "simulator/IBusListener.h"
#include "simulator/Settings.h"
#include "simulator/Trace.h"
#include "simulator/gadget/UsbGadget.h"
#include "simulator/host/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sim {

/// Puts the devices of a simulated bus on true ones of this machine's kernel and runs a
/// program that meets them there.  One thread; one host at a time on a machine.
///
/// Functions that fail throw std::system_error or std::filesystem::filesystem_error.
class GadgetHost : private IBusListener
{
public:
    /// What is wrong with the settings here, in one line; empty for nothing.
    static std::string fault(const Settings &settings);

    /// The settings have no fault; `text` is what they were read from.  Ends when the
    /// system has noticed all devices.
    GadgetHost(const Settings &settings, const std::string &text, Trace *trace);
    ~GadgetHost() override;
    GadgetHost(const GadgetHost &) = delete;
    GadgetHost &operator=(const GadgetHost &) = delete;
    GadgetHost(GadgetHost &&) = delete;
    GadgetHost &operator=(GadgetHost &&) = delete;

    /// The exit code of the program, which is the first of the arguments and looked for in
    /// PATH; 128 and the number of the signal that ended it.  They end with a null.
    int run(char *const *arguments);

private:
    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const InputReport &report) override;

    void plug(std::size_t index);
    /// Passes one report on each way.
    void pass(std::size_t index);
    /// Gives the device a report from its host.
    void give(std::size_t index, const std::vector<std::uint8_t> &report);
    /// Until the system has noticed that the device came or went.  One that goes again before
    /// it was looked at would not have been there for anybody.  What the others get
    /// meanwhile is kept for them: the kernel would lose it.
    void awaitNotice(std::size_t index, bool onBus);

    Bus bus;
    /// The number of a device is that of its gadget and its controller.
    std::vector<std::unique_ptr<UsbGadget>> gadgets;
    /// The host has sent the device nothing since it was plugged in.
    std::vector<bool> untouched;
    /// Reports that came during a wait, with the numbers of their devices.
    std::deque<std::pair<std::size_t, std::vector<std::uint8_t>>> kept;
    /// Nodes that are held open so that the system gives their paths to nothing else.
    std::vector<FileDescriptor> heldNodes;
};

} // namespace sim
