#include "simulator/wine/WineHost.h"

#include "simulator/windows/control_codes.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

#include <poll.h>
#include <sys/signalfd.h>

namespace sim {

namespace {

/// For the bridge to start and the devices to be recognised: some 200 ms.
constexpr std::chrono::seconds startPatience{60};
constexpr int signalCode = 128;

/// Signals that end programs come through a descriptor from now on.
FileDescriptor catchSignals()
{
    sigset_t ending{};
    sigemptyset(&ending);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    // A bridge that has ended is noticed when it is read from.
    std::signal(SIGPIPE, SIG_IGN);
    return FileDescriptor(signalfd(-1, &ending, SFD_CLOEXEC));
}

/// Rounded up, so that what is waited for is due; -1 without a time.
int pollTimeout(std::optional<Bus::Clock::time_point> until)
{
    if (!until)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - Bus::Clock::now());
    return static_cast<int>(std::max(left, std::chrono::milliseconds::zero()).count());
}

} // namespace

std::string WineHost::unsupported(const Settings &settings)
{
    constexpr const char *why = ": only the library that takes the HID library's place can do that";
    if (!settings.failingReads.isEmpty())
        return std::string("fail-reads") + why;
    if (!settings.shortReads.isEmpty())
        return std::string("short-reads") + why;
    if (settings.devices.size() >= velmo_slots)
        return "devices: at most " + std::to_string(velmo_slots - 1) + " here";
    return {};
}

WineHost::WineHost(WinePrefix *winePrefix, Trace *busTrace, const Settings &settings,
                   const std::string &settingsText)
    : prefix(winePrefix)
    , bus(busTrace, this)
    , signals(catchSignals())
{
    bus.configure(settings, settingsText);
    ports.resize(bus.devices().size());
}

int WineHost::run(const std::vector<std::string> &command)
{
    if (!link.start(prefix->bridge()))
        fail("there cannot be another process");
    if (!exitCode && plugInAll()) {
        std::vector<std::string> underWine = {"wine"};
        underWine.insert(underWine.end(), command.begin(), command.end());
        if (!program.start(underWine, STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO,
                           ChildProcess::WhenLeft::Dies))
            fail("there cannot be another process");
        for (bool goesOn = !exitCode; goesOn;) {
            const auto handedOver = handOver();
            auto next = bus.runDue();
            if (handedOver && (!next || *handedOver < *next))
                next = handedOver;
            goesOn = wait(next);
        }
    }
    program.kill();
    link.finish();
    return exitCode.value_or(exitSoftware);
}

bool WineHost::plugInAll()
{
    const auto end = Clock::now() + startPatience;
    const auto waitUntil = [&](const auto &done) {
        while (!exitCode && !done() && Clock::now() < end)
            wait(end);
        if (!exitCode && !done())
            fail("wine does not come up with the devices; end it with 'wineserver -k' and try "
                 "again");
        return !exitCode;
    };
    if (!waitUntil([this] { return ready; }))
        return false;
    std::size_t present = 0;
    for (std::size_t i = 0; i < ports.size(); ++i) {
        if (!bus.devices()[i].microphone.isOnBus())
            continue;
        plugIn(i);
        ++present;
    }
    return waitUntil([this, present] { return pluggedIn == present; });
}

void WineHost::plugIn(std::size_t index)
{
    const Bus::Device &device = bus.devices()[index];
    // The path's last part makes the device's name in Windows; another path, another name.
    const std::string instance = device.path.substr(device.path.rfind('/') + 1);
    link.send({"PLUG",
               index,
               {BridgeLine::hexOf(device.microphone.vendorId()),
                BridgeLine::hexOf(device.microphone.productId()), instance}});
}

bool WineHost::wait(std::optional<Clock::time_point> until)
{
    std::array<pollfd, 3> sources = {pollfd{signals.get(), POLLIN, 0},
                                     pollfd{link.descriptor(), POLLIN, 0},
                                     pollfd{program.endDescriptor(), POLLIN, 0}};
    if (poll(sources.data(), sources.size(), pollTimeout(until)) <= 0)
        return true;
    if (sources[0].revents != 0) {
        signalfd_siginfo signal{};
        if (read(signals.get(), &signal, sizeof signal) == sizeof signal)
            exitCode = signalCode + static_cast<int>(signal.ssi_signo);
    } else if (sources[2].revents != 0) {
        exitCode = program.waitForEnd(std::chrono::milliseconds::zero());
    }
    if (!exitCode && sources[1].revents != 0)
        readBridge();
    return !exitCode;
}

void WineHost::readBridge()
{
    const auto lines = link.lines();
    if (!lines) {
        fail("the bridge has ended");
        return;
    }
    for (const BridgeLine &line : *lines) {
        if (line.word == "FAILED")
            fail(line.rest.front());
        else if (line.word == "READY")
            ready = true;
        else if (line.slot >= ports.size())
            continue;
        else if (line.word == "PLUGGED")
            ++pluggedIn;
        else if (line.word == "UNPLUGGED")
            ports[line.slot].leaving = false;
        else if (line.word == "REPORT")
            begin(line.slot, line.rest.front());
    }
}

void WineHost::begin(std::size_t index, const std::string &hex)
{
    Port &port = ports[index];
    const auto report = BridgeLine::bytesOf(hex);
    if (!report)
        return;
    if (port.leaving) {
        lose(*report);
        return;
    }
    port.report = *report;
    port.call = ++writes;
    port.arrival = Clock::now() + bus.currentSettings().writeTime(port.call);
}

std::optional<WineHost::Clock::time_point> WineHost::handOver()
{
    std::optional<Clock::time_point> next;
    for (std::size_t i = 0; i < ports.size(); ++i) {
        Port &port = ports[i];
        if (!port.arrival)
            continue;
        if (*port.arrival > Clock::now()) {
            if (!next || *port.arrival < *next)
                next = port.arrival;
            continue;
        }
        port.arrival.reset();
        receive(i, port.report);
    }
    return next;
}

void WineHost::receive(std::size_t index, const std::vector<std::uint8_t> &report)
{
    Port &port = ports[index];
    // That a program opens the device does not show here.
    if (!port.wasOpened)
        bus.opened(index);
    port.wasOpened = true;
    port.handingOver = true;
    if (bus.currentSettings().failingWrites.contains(port.call)) {
        bus.traceFailedWrite(report.data(), report.size(), "fail-writes");
        answer(index, false);
        return;
    }
    answer(index, bus.receive(index, report.data(), report.size()) == Microphone::Refusal::None);
}

void WineHost::answer(std::size_t index, bool taken)
{
    if (ports[index].handingOver)
        link.send({taken ? "ACCEPT" : "REFUSE", index, {}});
    ports[index].handingOver = false;
}

void WineHost::departed(std::size_t index)
{
    Port &port = ports[index];
    // The report that was the last was taken.
    answer(index, true);
    if (port.arrival)
        lose(port.report);
    port.arrival.reset();
    port.leaving = true;
    link.send({"UNPLUG", index, {}});
}

void WineHost::arrived(std::size_t index)
{
    plugIn(index);
}

void WineHost::sent(std::size_t index, const InputReport &report)
{
    link.send({"SEND", index, {BridgeLine::hexOf(report.data(), report.size())}});
}

/// The device has gone while the report was under way.
void WineHost::lose(const std::vector<std::uint8_t> &report)
{
    bus.violate(Microphone::Refusal::Absent);
    bus.traceFailedWrite(report.data(), report.size(), "lost");
}

void WineHost::fail(const std::string &why)
{
    std::fprintf(stderr, "velmo-sim-wine: %s\n", why.c_str());
    exitCode = exitSoftware;
}

} // namespace sim
