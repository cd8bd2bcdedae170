#include "simulator/umockdev/Host.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

namespace sim {

namespace {

constexpr const char *nodePrefix = "/dev/hidraw";
/// How much a reader gets of a report that the settings cut short.
constexpr std::size_t shortReportSize = inputReportSize / 2;

} // namespace

Host::Host(Trace *hostTrace, const Settings &settings, const std::string &text)
    : trace(hostTrace)
    , bus(hostTrace, this, nodePrefix)
{
    bus.configure(settings, text);
    current.resize(bus.devices().size());
    for (std::size_t i = 0; i < current.size(); ++i)
        if (bus.devices()[i].microphone.isOnBus())
            Host::arrived(i);
}

int Host::run(char *const *arguments)
{
    child.start(arguments);
    for (;;) {
        for (HostRequest &request : inbox.takeAll())
            take(std::move(request));
        auto next = runTransfers();
        const auto busNext = bus.runDue();
        if (busNext && (!next || *busNext < *next))
            next = busNext;
        if (const auto code = child.handleSignals())
            return *code;
        waitFor(next);
    }
}

/// Until then, or something comes in.
void Host::waitFor(std::optional<Bus::Clock::time_point> next) const
{
    std::array<pollfd, 2> sources = {
        {{child.pollDescriptor(), POLLIN, 0}, {inbox.pollDescriptor(), POLLIN, 0}}};
    timespec timeout{};
    if (next) {
        using namespace std::chrono;
        const nanoseconds left = std::max(nanoseconds(*next - Bus::Clock::now()), nanoseconds(0));
        const auto whole = duration_cast<seconds>(left);
        timeout.tv_sec = whole.count();
        timeout.tv_nsec = (left - whole).count();
    }
    ppoll(sources.data(), sources.size(), next ? &timeout : nullptr, nullptr);
}

void Host::take(HostRequest request)
{
    if (request.writer == nullptr) {
        if (const auto index = deviceOf(request.node))
            bus.opened(*index);
        return;
    }
    // Nothing goes over the wire to a device that is not there.
    const std::uint32_t call = ++writeCalls;
    const auto wire = deviceOf(request.node) ? bus.currentSettings().writeTime(call) : Time(0);
    const auto due = request.at + wire;
    transfers.push_back({std::move(request), call, due});
}

std::optional<Bus::Clock::time_point> Host::runTransfers()
{
    while (!transfers.empty() && transfers.front().due <= Bus::Clock::now()) {
        const Transfer transfer = std::move(transfers.front());
        transfers.pop_front();
        finish(transfer);
    }
    if (transfers.empty())
        return std::nullopt;
    return transfers.front().due;
}

void Host::finish(const Transfer &transfer)
{
    UMockdevIoctlClient *const writer = transfer.request.writer.get();
    const UMockdevIoctlData *const report = umockdev_ioctl_client_get_arg(writer);
    const auto length = static_cast<std::size_t>(report->data_len);
    const auto index = deviceOf(transfer.request.node);
    long result = -1;
    int error = EIO;
    if (!index) {
        bus.violate(Microphone::Refusal::Absent);
        bus.traceFailedWrite(report->data, length, "lost");
        error = ENODEV;
    } else if (bus.currentSettings().failingWrites.contains(transfer.call)) {
        bus.traceFailedWrite(report->data, length, "fail-writes");
    } else if (bus.receive(*index, report->data, length) == Microphone::Refusal::None) {
        result = static_cast<long>(length);
        error = 0;
    }
    umockdev_ioctl_client_complete(writer, result, error);
}

std::optional<std::size_t> Host::deviceOf(const HidrawNode *node) const
{
    const auto found = std::find(current.begin(), current.end(), node);
    if (found == current.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - current.begin());
}

std::size_t Host::nextReportSize()
{
    return bus.currentSettings().shortReads.contains(++reportsRead) ? shortReportSize
                                                                    : inputReportSize;
}

void Host::departed(std::size_t index)
{
    current[index]->unplug();
    current[index] = nullptr;
}

void Host::arrived(std::size_t index)
{
    const Bus::Device &device = bus.devices()[index];
    const Microphone &microphone = device.microphone;
    nodes.push_back(std::make_unique<HidrawNode>(
        testbed,
        HidrawNode::Identity{{microphone.vendorId(), microphone.productId()},
                             device.path,
                             index,
                             static_cast<unsigned>(nodes.size()) + 1},
        inbox, [this] { return nextReportSize(); }));
    current[index] = nodes.back().get();
}

void Host::sent(std::size_t index, const InputReport &report)
{
    if (current[index] == nullptr)
        return;
    if (const auto dropped = current[index]->send(report))
        trace->line("dropped", "path=" + bus.devices()[index].path +
                                   " data=" + Trace::hex(dropped->data(), dropped->size()));
}

} // namespace sim
