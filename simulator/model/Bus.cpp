#include "simulator/model/Bus.h"

#include "simulator/model/earliest.h"
#include "simulator/model/exitCodes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace sim {

namespace {

/// The size of a short report.
constexpr std::size_t shortReportSize = inputReportSize / 2;

} // namespace

Bus::Bus(IBusListener *busListener, std::string devicePathPrefix)
    : listener(busListener)
    , pathPrefix(std::move(devicePathPrefix))
{
    std::string fault = std::string(Trace::variable) + ": the file cannot be opened for writing";
    if (trace.open()) {
        const char *const text = std::getenv("VELMO_SIM");
        fault = configure(text != nullptr ? text : "");
        if (fault.empty())
            return;
        fault.insert(0, "VELMO_SIM: ");
    }
    std::fprintf(stderr, "%s\n", fault.c_str());
    // Other threads of the program may be running, so no destructors run.
    std::_Exit(exitBadSettings);
}

std::string Bus::configure(const std::string &settingsText)
{
    auto parsed = Settings::parse(settingsText);
    if (auto *const fault = std::get_if<std::string>(&parsed))
        return *fault;
    settings = std::get<Settings>(parsed);
    for (const Transfer &transfer : std::exchange(transfers, {}))
        transfer.done(false);
    configuredIndex.reset();
    pathsGiven = 0;
    writes = reportsSent = 0;
    refusals.clear();
    deviceList.clear();
    for (const DeviceId &id : settings.devices)
        deviceList.push_back({nextPath(), Microphone(id.vendor, id.product, MicrophoneSettings())});
    extraDue.reset();
    if (settings.extra)
        addExtraDevice(*settings.extra);
    trace.line("load", "settings=" + settingsText);
    return {};
}

std::optional<std::size_t> Bus::find(const std::string &path) const
{
    const auto device =
        std::find_if(deviceList.begin(), deviceList.end(), [&path](const Device &one) {
            return one.path == path && one.microphone.isOnBus();
        });
    if (device == deviceList.end())
        return std::nullopt;
    return static_cast<std::size_t>(device - deviceList.begin());
}

void Bus::opened(std::size_t index)
{
    Microphone &microphone = deviceList[index].microphone;
    if (!microphone.isForeign())
        becomeConfigured(index);
    microphone.opened(now());
}

void Bus::write(std::optional<std::size_t> index, Report report, Done done)
{
    const std::uint32_t call = ++writes;
    if (!index) {
        lose(report, done);
        return;
    }
    // wine does not tell when a program opens a device, so its first write counts as that.
    opened(*index);
    const Time duration = settings.slowWrites.count(call) ? settings.slowTime : settings.packetTime;
    transfers.push_back({*index, std::move(report), std::move(done), call, now() + duration});
    runDue();
}

void Bus::arrive(const Transfer &transfer)
{
    const auto &[index, report, done, call, due] = transfer;
    if (settings.failingWrites.count(call)) {
        traceFailedWrite(report, "fail-writes");
        done(false);
        return;
    }
    Microphone &microphone = deviceList[index].microphone;
    const Microphone::Refusal refusal = microphone.receive(report.data(), report.size(), now());
    if (refusal != Microphone::Refusal::None) {
        violate(refusal);
        traceFailedWrite(report, "refused");
        done(false);
        return;
    }
    const std::string size = std::to_string(report.size());
    trace.line("write", "packet=" + std::to_string(microphone.lastPacket().value_or(0)) +
                            " length=" + size + " result=" + size +
                            " data=" + Trace::hex(report.data(), report.size()));
    if (settings.extra && index == configuredIndex && microphone.lastPacket() == settings.extraAt)
        extraDue = now();
    // Called before the consequences, because the device may leave the bus at once.
    done(true);
    advance(index);
}

void Bus::unplug()
{
    if (const auto index = configured()) {
        deviceList[*index].microphone.unplug(now());
        advance(*index);
    }
}

void Bus::plug(std::optional<std::uint16_t> productId, bool upgrading)
{
    if (const auto index = configured()) {
        Microphone &microphone = deviceList[*index].microphone;
        microphone.plug(productId.value_or(microphone.productId()), upgrading, now());
        advance(*index);
    }
}

void Bus::inject(const InputReport &report)
{
    if (const auto index = configured())
        send(*index, report);
}

std::optional<Bus::Clock::time_point> Bus::runDue()
{
    // Events that were due before a report arrives come first, even if this is called late.
    runExtraDevice();
    for (std::size_t i = 0; i < deviceList.size(); ++i)
        advance(i);
    if (!transfers.empty() && transfers.front().due <= now()) {
        const Transfer transfer = std::move(transfers.front());
        transfers.pop_front();
        arrive(transfer);
    }
    std::optional<Time> next = extraDue;
    for (const Device &device : deviceList)
        next = earliest(next, device.microphone.nextDeadline());
    if (!transfers.empty())
        next = earliest(next, std::optional(transfers.front().due));
    if (!next)
        return std::nullopt;
    return start + *next;
}

void Bus::lose(const Report &report, const Done &done)
{
    violate(Microphone::Refusal::Absent);
    traceFailedWrite(report, "lost");
    done(false);
}

void Bus::loseTransfersTo(std::size_t index)
{
    const auto lost = std::stable_partition(
        transfers.begin(), transfers.end(),
        [index](const Transfer &transfer) { return transfer.index != index; });
    for (auto transfer = lost; transfer != transfers.end(); ++transfer)
        lose(transfer->report, transfer->done);
    transfers.erase(lost, transfers.end());
}

void Bus::violate(Microphone::Refusal refusal)
{
    refusals.push_back(refusal);
    trace.line("violation", Microphone::describe(refusal));
}

void Bus::traceFailedWrite(const Report &report, const char *why)
{
    trace.line("write", "packet=none length=" + std::to_string(report.size()) + " result=-1 why=" +
                            why + " data=" + Trace::hex(report.data(), report.size()));
}

Time Bus::now() const
{
    return std::chrono::duration_cast<Time>(Clock::now() - start);
}

std::string Bus::nextPath()
{
    return pathPrefix + std::to_string(pathsGiven++);
}

void Bus::becomeConfigured(std::size_t index)
{
    if (configuredIndex)
        return;
    configuredIndex = index;
    Microphone &microphone = deviceList[index].microphone;
    microphone = Microphone(microphone.vendorId(), microphone.productId(), settings.microphone);
}

std::optional<std::size_t> Bus::configured()
{
    for (std::size_t i = 0; i < deviceList.size() && !configuredIndex; ++i)
        if (!deviceList[i].microphone.isForeign())
            becomeConfigured(i);
    return configuredIndex;
}

void Bus::advance(std::size_t index)
{
    for (const Microphone::Event &event : deviceList[index].microphone.advance(now()))
        carryOut(index, event);
}

void Bus::addExtraDevice(const DeviceId &id)
{
    Device extra{nextPath(), Microphone(id.vendor, id.product, MicrophoneSettings())};
    // The device is not on the bus yet. Its events are thrown away.
    extra.microphone.unplug(now());
    extra.microphone.advance(now());
    deviceList.push_back(std::move(extra));
}

void Bus::runExtraDevice()
{
    while (extraDue && *extraDue <= now()) {
        Microphone &extra = deviceList.back().microphone;
        if (extra.isOnBus()) {
            extra.unplug(now());
            extraDue.reset();
        } else {
            extra.plug(extra.productId(), false, now());
            *extraDue += settings.extraStay;
        }
        advance(deviceList.size() - 1);
    }
}

void Bus::carryOut(std::size_t index, const Microphone::Event &event)
{
    using Kind = Microphone::Event::Kind;
    Device &device = deviceList[index];
    const std::string ids = Trace::ids(device.microphone.vendorId(), event.productId);
    switch (event.kind) {
    case Kind::Confirmation:
    case Kind::Verdict:
    case Kind::Chatter:
        send(index, event.report);
        break;
    case Kind::Departure:
        trace.line("departure", "path=" + device.path + " id=" + ids);
        listener->departed(index);
        loseTransfersTo(index);
        break;
    case Kind::Arrival:
        if (settings.newPath && index == configuredIndex)
            device.path = nextPath();
        trace.line("arrival", "path=" + device.path + " id=" + ids);
        listener->arrived(index);
        break;
    case Kind::StateChange:
        trace.line("state", "path=" + device.path + " state=" + Microphone::describe(event.state));
        break;
    }
}

void Bus::send(std::size_t index, const InputReport &report)
{
    const std::string path = "path=" + deviceList[index].path;
    const bool cut = settings.shortReads.count(++reportsSent) != 0;
    if (settings.failingReads.count(reportsSent)) {
        trace.line("send", path + " result=-1 why=fail-reads");
        listener->sent(index, {});
        return;
    }
    const Report bytes(report.begin(), report.begin() + (cut ? shortReportSize : report.size()));
    trace.line("send", path + " data=" + Trace::hex(bytes.data(), bytes.size()));
    listener->sent(index, bytes);
}

} // namespace sim
