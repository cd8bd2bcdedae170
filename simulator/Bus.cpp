#include "simulator/Bus.h"

#include <algorithm>

namespace sim {

void Bus::configure(const Settings &newSettings, const std::string &text)
{
    settings = newSettings;
    subjectIndex.reset();
    pathsGiven = 0;
    refusals.clear();
    taken.clear();
    deviceList.clear();
    for (const DeviceId &id : settings.devices)
        deviceList.push_back({nextPath(), Microphone(id.vendor, id.product, MicrophoneSettings())});
    visitorDue.reset();
    if (settings.visitor)
        addVisitor(settings.visitor->id);
    trace->line("load", "settings=" + text);
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
        becomeSubject(index);
    microphone.opened(now());
}

Microphone::Refusal Bus::receive(std::size_t index, const std::uint8_t *report, std::size_t length)
{
    // What was due before comes before, however late its owner is.
    advance(index);
    Microphone &microphone = deviceList[index].microphone;
    const Microphone::Refusal refusal = microphone.receive(report, length, now());
    if (refusal != Microphone::Refusal::None) {
        violate(refusal);
        traceFailedWrite(report, length, "refused");
        return refusal;
    }
    taken.emplace_back(report, report + length);
    trace->line("write", "packet=" + std::to_string(microphone.lastPacket().value_or(0)) +
                             " length=" + std::to_string(length) + " result=" +
                             std::to_string(length) + " data=" + Trace::hex(report, length));
    if (settings.visitor && index == subjectIndex &&
        microphone.lastPacket() == settings.visitor->at)
        visitorDue = now();
    advance(index);
    return refusal;
}

void Bus::unplug()
{
    if (const auto index = subject()) {
        deviceList[*index].microphone.unplug(now());
        advance(*index);
    }
}

void Bus::plug(std::optional<std::uint16_t> productId, bool upgrading)
{
    if (const auto index = subject()) {
        Microphone &microphone = deviceList[*index].microphone;
        microphone.plug(productId.value_or(microphone.productId()), upgrading, now());
        advance(*index);
    }
}

void Bus::inject(const InputReport &report)
{
    if (const auto index = subject())
        send(*index, report);
}

std::optional<Bus::Clock::time_point> Bus::runDue()
{
    runVisitor();
    std::optional<Time> next = visitorDue;
    for (std::size_t i = 0; i < deviceList.size(); ++i) {
        advance(i);
        const auto due = deviceList[i].microphone.nextDeadline();
        if (due && (!next || *due < *next))
            next = due;
    }
    if (!next)
        return std::nullopt;
    return start + *next;
}

void Bus::violate(Microphone::Refusal refusal)
{
    refusals.push_back(refusal);
    trace->line("violation", Microphone::describe(refusal));
}

void Bus::traceFailedWrite(const std::uint8_t *report, std::size_t length, const char *why)
{
    trace->line("write", std::string("packet=none length=") + std::to_string(length) +
                             " result=-1 why=" + why + " data=" + Trace::hex(report, length));
}

Time Bus::now() const
{
    return std::chrono::duration_cast<Time>(Clock::now() - start);
}

std::string Bus::nextPath()
{
    return pathPrefix + std::to_string(pathsGiven++);
}

void Bus::becomeSubject(std::size_t index)
{
    if (subjectIndex)
        return;
    subjectIndex = index;
    Microphone &microphone = deviceList[index].microphone;
    microphone = Microphone(microphone.vendorId(), microphone.productId(), settings.microphone);
}

std::optional<std::size_t> Bus::subject()
{
    for (std::size_t i = 0; i < deviceList.size() && !subjectIndex; ++i)
        if (!deviceList[i].microphone.isForeign())
            becomeSubject(i);
    return subjectIndex;
}

void Bus::advance(std::size_t index)
{
    for (const Microphone::Event &event : deviceList[index].microphone.advance(now()))
        carryOut(index, event);
}

void Bus::addVisitor(const DeviceId &id)
{
    Device visitor{nextPath(), Microphone(id.vendor, id.product, MicrophoneSettings())};
    // Not there yet, and nobody has heard of it.
    visitor.microphone.unplug(now());
    visitor.microphone.advance(now());
    deviceList.push_back(std::move(visitor));
}

void Bus::runVisitor()
{
    const std::size_t index = deviceList.size() - 1;
    while (visitorDue && *visitorDue <= now()) {
        Microphone &visitor = deviceList[index].microphone;
        if (visitor.isOnBus()) {
            visitor.unplug(now());
            visitorDue.reset();
        } else {
            visitor.plug(visitor.productId(), false, now());
            *visitorDue += settings.visitor->stay;
        }
        advance(index);
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
        send(index, event.report);
        break;
    case Kind::Departure:
        trace->line("departure", "path=" + device.path + " id=" + ids);
        listener->departed(index);
        break;
    case Kind::Arrival:
        if (settings.newPath && index == subjectIndex)
            device.path = nextPath();
        trace->line("arrival", "path=" + device.path + " id=" + ids);
        listener->arrived(index);
        break;
    case Kind::StateChange:
        trace->line("state", "path=" + device.path + " state=" + Microphone::describe(event.state));
        break;
    }
}

void Bus::send(std::size_t index, const InputReport &report)
{
    trace->line("send", "path=" + deviceList[index].path +
                            " data=" + Trace::hex(report.data(), report.size()));
    listener->sent(index, report);
}

} // namespace sim
