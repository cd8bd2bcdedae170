#include "simulator/gadget/GadgetHost.h"

#include "simulator/host/ForegroundProgram.h"

#include <fcntl.h>
#include <poll.h>

#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace sim {

namespace {

using std::chrono::steady_clock;

/// The host's enumeration of a device takes some 100 ms, more on an emulated machine.
constexpr std::chrono::seconds noticeTimeout{20};
constexpr std::chrono::milliseconds noticePoll{5};

/// Until the system has a node for the device if that is on its bus, and else none.
void waitForNode(std::size_t index, bool onBus)
{
    const auto end = steady_clock::now() + noticeTimeout;
    while (UsbGadget::hostNode(index).empty() == onBus) {
        if (steady_clock::now() > end)
            throw std::system_error(ETIMEDOUT, std::generic_category(),
                                    "the system does not notice a USB device (modules "
                                    "usbhid and hid-generic?): dummy_hcd." +
                                        std::to_string(index));
        std::this_thread::sleep_for(noticePoll);
    }
}

/// The same for each device; and a program that starts behind this does not hear of what was
/// before.
void waitForHost(const std::vector<bool> &onBus)
{
    for (std::size_t i = 0; i < onBus.size(); ++i)
        waitForNode(i, onBus[i]);
    if (std::system("udevadm settle") != 0)
        throw std::system_error(EIO, std::generic_category(), "udevadm settle");
}

timespec until(steady_clock::time_point due)
{
    const auto wait = std::max(due - steady_clock::now(), steady_clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
    timespec time{};
    time.tv_sec = seconds.count();
    time.tv_nsec = std::chrono::nanoseconds(wait - seconds).count();
    return time;
}

} // namespace

std::string GadgetHost::fault(const Settings &settings)
{
    const std::size_t room = UsbGadget::room();
    const std::size_t needed = settings.devices.size() + (settings.visitor ? 1 : 0);
    if (needed > room)
        return "devices: there is room for " + std::to_string(room) +
               ", and for 4 when dummy_hcd is loaded with num=4";
    if (settings.packetTime != Settings().packetTime || !settings.failingWrites.isEmpty() ||
        !settings.failingReads.isEmpty() || !settings.shortReads.isEmpty())
        return "packet-time, fail-writes, fail-reads, short-reads: only for the library in the "
               "HID library's place, a true bus has its own";
    return {};
}

GadgetHost::GadgetHost(const Settings &settings, const std::string &text, Trace *trace)
    : bus(trace, this)
{
    UsbGadget::removeLeftovers();
    waitForHost(std::vector<bool>(UsbGadget::room(), false));
    bus.configure(settings, text);
    const std::size_t count = bus.devices().size();
    untouched.resize(count, true);
    std::vector<bool> onBus(count);
    for (std::size_t i = 0; i < count; ++i) {
        gadgets.push_back(std::make_unique<UsbGadget>(i));
        onBus[i] = bus.devices()[i].microphone.isOnBus();
        if (onBus[i])
            plug(i);
    }
    waitForHost(onBus);
}

GadgetHost::~GadgetHost() = default;

int GadgetHost::run(char *const *arguments)
{
    ForegroundProgram child;
    child.start(arguments);
    std::vector<pollfd> polled(gadgets.size() + 1);
    for (;;) {
        const auto due = bus.runDue();
        for (std::size_t i = 0; i < gadgets.size(); ++i) {
            const bool waiting = gadgets[i]->hasWaiting();
            // A descriptor of -1 is passed over.
            polled[i] = {gadgets[i]->descriptor(),
                         static_cast<short>(waiting ? POLLIN | POLLOUT : POLLIN), 0};
        }
        polled.back() = {child.pollDescriptor(), POLLIN, 0};
        const timespec wait = until(due.value_or(steady_clock::time_point()));
        if (::ppoll(polled.data(), polled.size(), due ? &wait : nullptr, nullptr) < 0)
            throw std::system_error(errno, std::generic_category(), "ppoll");
        if (polled.back().revents != 0)
            if (const auto code = child.handleSignals())
                return *code;
        for (std::size_t i = 0; i < gadgets.size(); ++i)
            if (polled[i].revents != 0)
                pass(i);
    }
}

void GadgetHost::pass(std::size_t index)
{
    // What one of them does may have unplugged another.
    if (!gadgets[index]->isPlugged())
        return;
    if (gadgets[index]->hasWaiting())
        gadgets[index]->flush();
    const std::vector<std::uint8_t> report = gadgets[index]->receive();
    if (report.empty())
        return;
    if (untouched[index])
        bus.opened(index);
    untouched[index] = false;
    bus.receive(index, report.data(), report.size());
}

void GadgetHost::departed(std::size_t index)
{
    if (bus.currentSettings().newPath) {
        const std::string path = UsbGadget::hostNode(index);
        heldNodes.emplace_back(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    }
    gadgets[index]->unplug();
    waitForNode(index, false);
}

void GadgetHost::plug(std::size_t index)
{
    const Microphone &microphone = bus.devices()[index].microphone;
    gadgets[index]->plug(microphone.vendorId(), microphone.productId());
    untouched[index] = true;
}

void GadgetHost::arrived(std::size_t index)
{
    plug(index);
    // One that goes again before the system has looked at it would not have been there for
    // anybody.  The others' reports wait meanwhile, on the system's side.
    waitForNode(index, true);
}

void GadgetHost::sent(std::size_t index, const InputReport &report)
{
    gadgets[index]->send(report);
}

} // namespace sim
