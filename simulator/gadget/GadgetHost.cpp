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

/// Waits for the system to have a node for a device that is on its bus, and else none.
class NoticeWait
{
public:
    NoticeWait(std::size_t index, bool onBus)
        : device(index)
        , expected(onBus)
    {
    }

    /// Whether it is over; throws when it has taken too long.
    bool isOver() const
    {
        if (UsbGadget::hostNode(device).empty() != expected)
            return true;
        if (steady_clock::now() > end)
            throw std::system_error(ETIMEDOUT, std::generic_category(),
                                    "the system does not notice a USB device (modules "
                                    "usbhid and hid-generic?): dummy_hcd." +
                                        std::to_string(device));
        return false;
    }

private:
    std::size_t device;
    bool expected;
    steady_clock::time_point end = steady_clock::now() + noticeTimeout;
};

/// For each device; a program that starts behind this does not hear of what was before.
void waitForHost(const std::vector<bool> &onBus)
{
    for (std::size_t i = 0; i < onBus.size(); ++i) {
        const NoticeWait wait(i, onBus[i]);
        while (!wait.isOver())
            std::this_thread::sleep_for(noticePoll);
    }
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
        if (!kept.empty()) {
            const auto [index, report] = std::move(kept.front());
            kept.pop_front();
            give(index, report);
            continue;
        }
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
    give(index, gadgets[index]->receive());
}

void GadgetHost::give(std::size_t index, const std::vector<std::uint8_t> &report)
{
    // One that was kept may have outlived its device's stay.
    if (report.empty() || !gadgets[index]->isPlugged())
        return;
    if (untouched[index])
        bus.opened(index);
    untouched[index] = false;
    bus.receive(index, report.data(), report.size());
}

void GadgetHost::awaitNotice(std::size_t index, bool onBus)
{
    const NoticeWait wait(index, onBus);
    while (!wait.isOver()) {
        for (std::size_t i = 0; i < gadgets.size(); ++i) {
            if (!gadgets[i]->isPlugged())
                continue;
            std::vector<std::uint8_t> report = gadgets[i]->receive();
            if (!report.empty())
                kept.emplace_back(i, std::move(report));
        }
        std::this_thread::sleep_for(noticePoll);
    }
}

void GadgetHost::departed(std::size_t index)
{
    if (bus.currentSettings().newPath) {
        const std::string path = UsbGadget::hostNode(index);
        heldNodes.emplace_back(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    }
    gadgets[index]->unplug();
    awaitNotice(index, false);
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
    awaitNotice(index, true);
}

void GadgetHost::sent(std::size_t index, const InputReport &report)
{
    gadgets[index]->send(report);
}

} // namespace sim
