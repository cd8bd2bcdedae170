#include "simulator/Simulator.h"

#include "simulator/NoticeReceiver.h"
#include "simulator/hid_device_.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <thread>

namespace sim {

namespace {

/// Behind this many bytes a report that is cut short ends.
constexpr std::size_t shortReportSize = inputReportSize / 2;

[[noreturn]] void endForBadSettings(const std::string &why)
{
    std::fprintf(stderr, "%s\n", why.c_str());
    // Threads of the program may be running; nothing here needs destructors.
    std::_Exit(Simulator::exitBadSettings);
}

} // namespace

Simulator &Simulator::instance()
{
    // Never destroyed: threads may be inside when the process ends.
    static auto *const simulator = new Simulator; // NOLINT(cppcoreguidelines-owning-memory)
    return *simulator;
}

Simulator::Simulator()
{
    if (!trace.open())
        endForBadSettings("VELMO_SIM_TRACE: the file cannot be opened for writing");
    const char *const text = std::getenv("VELMO_SIM");
    const std::string fault = configure(text != nullptr ? text : "");
    if (!fault.empty())
        endForBadSettings("VELMO_SIM: " + fault);
    std::thread([this] { runDevices(); }).detach();
}

std::string Simulator::configure(const std::string &settingsText)
{
    auto parsed = Settings::parse(settingsText);
    if (auto *const fault = std::get_if<std::string>(&parsed))
        return *fault;
    const std::lock_guard<std::mutex> lock(mutex);
    apply(std::get<Settings>(parsed), settingsText);
    return {};
}

void Simulator::apply(const Settings &newSettings, const std::string &text)
{
    settings = newSettings;
    for (const auto &handle : handles) {
        handle->closed = true;
        handle->queue.clear();
    }
    subjectIndex.reset();
    writeCalls = readCalls = reportsRead = 0;
    pathsGiven = 0;
    refusals.clear();
    taken.clear();
    noticeCallback = nullptr;
    noticeContext = nullptr;
    noticesOff = false;
    notices.clear();
    if (receiver != nullptr)
        receiver->deleteLater();
    receiver = nullptr;

    devices.clear();
    for (const DeviceId &id : settings.devices)
        devices.push_back({nextPath(), Microphone(id.vendor, id.product, MicrophoneSettings())});
    trace.line("load", "settings=" + text);
    wake.notify_all();
    inputChanged.notify_all();
}

void Simulator::runDevices()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        std::optional<Time> next;
        for (std::size_t i = 0; i < devices.size(); ++i) {
            advance(i);
            const auto due = devices[i].microphone.nextDeadline();
            if (due && (!next || *due < *next))
                next = due;
        }
        if (next)
            wake.wait_until(lock, start + *next);
        else
            wake.wait(lock);
    }
}

Time Simulator::now() const
{
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - start);
}

std::string Simulator::nextPath()
{
    return "/dev/velmo-sim" + std::to_string(pathsGiven++);
}

void Simulator::becomeSubject(std::size_t index)
{
    if (subjectIndex)
        return;
    subjectIndex = index;
    Microphone &microphone = devices[index].microphone;
    microphone = Microphone(microphone.vendorId(), microphone.productId(), settings.microphone);
}

Simulator::Device *Simulator::subject()
{
    for (std::size_t i = 0; i < devices.size() && !subjectIndex; ++i)
        if (!devices[i].microphone.isForeign())
            becomeSubject(i);
    return subjectIndex ? &devices[*subjectIndex] : nullptr;
}

void Simulator::unplug()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (Device *const device = subject()) {
        device->microphone.unplug(now());
        advance(*subjectIndex);
    }
}

void Simulator::plug(std::optional<std::uint16_t> productId, bool upgrading)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (Device *const device = subject()) {
        Microphone &microphone = device->microphone;
        microphone.plug(productId.value_or(microphone.productId()), upgrading, now());
        advance(*subjectIndex);
    }
}

void Simulator::inject(const InputReport &report)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (subject() != nullptr)
        send(*subjectIndex, report);
}

std::vector<Microphone::Refusal> Simulator::violations() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return refusals;
}

std::vector<std::vector<std::uint8_t>> Simulator::packets() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return taken;
}

void Simulator::advance(std::size_t index)
{
    for (const Microphone::Event &event : devices[index].microphone.advance(now()))
        carryOut(index, event);
}

void Simulator::carryOut(std::size_t index, const Microphone::Event &event)
{
    using Kind = Microphone::Event::Kind;
    Device &device = devices[index];
    const std::string ids = Trace::ids(device.microphone.vendorId(), event.productId);
    switch (event.kind) {
    case Kind::Confirmation:
    case Kind::Verdict:
        send(index, event.report);
        break;
    case Kind::Departure:
        trace.line("departure", "path=" + device.path + " id=" + ids);
        for (const auto &handle : handles)
            if (handle->device == index)
                handle->lost = true;
        inputChanged.notify_all();
        notify(device, true);
        break;
    case Kind::Arrival:
        if (settings.newPath)
            device.path = nextPath();
        trace.line("arrival", "path=" + device.path + " id=" + ids);
        notify(device, false);
        break;
    case Kind::StateChange:
        trace.line("state", "path=" + device.path + " state=" + Microphone::describe(event.state));
        break;
    }
}

void Simulator::send(std::size_t index, const InputReport &report)
{
    trace.line("send",
               "path=" + devices[index].path + " data=" + Trace::hex(report.data(), report.size()));
    for (const auto &handle : handles) {
        if (handle->closed || handle->lost || handle->device != index)
            continue;
        handle->queue.push_back(report);
        if (handle->queue.size() > inputQueueSize) {
            const InputReport &oldest = handle->queue.front();
            trace.line("dropped", "handle=" + std::to_string(handle->number) +
                                      " data=" + Trace::hex(oldest.data(), oldest.size()));
            handle->queue.pop_front();
        }
    }
    inputChanged.notify_all();
}

void Simulator::notify(const Device &device, bool removal)
{
    if (receiver == nullptr || noticesOff || loopEnded)
        return;
    const Microphone &microphone = device.microphone;
    notices.push_back({{device.path, microphone.vendorId(), microphone.productId()}, removal});
    receiver->wake();
}

void Simulator::violate(Microphone::Refusal refusal)
{
    refusals.push_back(refusal);
    trace.line("violation", Microphone::describe(refusal));
}

void Simulator::traceCall(const char *event)
{
    const std::lock_guard<std::mutex> lock(mutex);
    trace.line(event);
}

std::vector<Simulator::Listing> Simulator::enumerate(std::uint16_t vendor, std::uint16_t product)
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<Listing> listings;
    for (const Device &device : devices) {
        const Microphone &microphone = device.microphone;
        if (microphone.isOnBus() && (vendor == 0 || vendor == microphone.vendorId()) &&
            (product == 0 || product == microphone.productId()))
            listings.push_back({device.path, microphone.vendorId(), microphone.productId()});
    }
    trace.line("enumerate", "count=" + std::to_string(listings.size()));
    return listings;
}

hid_device_ *Simulator::open(const std::string &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto device = std::find_if(devices.begin(), devices.end(), [&path](const Device &one) {
        return one.path == path && one.microphone.isOnBus();
    });
    if (device == devices.end()) {
        trace.line("open", "path=" + path + " handle=none");
        return nullptr;
    }
    const auto index = static_cast<std::size_t>(device - devices.begin());
    if (!device->microphone.isForeign())
        becomeSubject(index);
    device->microphone.opened(now());

    handles.push_back(std::make_unique<hid_device_>());
    hid_device_ *const handle = handles.back().get();
    handle->number = static_cast<int>(handles.size());
    handle->device = index;
    trace.line("open", "path=" + path + " handle=" + std::to_string(handle->number));
    wake.notify_all();
    return handle;
}

void Simulator::close(hid_device_ *handle)
{
    const std::lock_guard<std::mutex> lock(mutex);
    hid_device_ *const known = find(handle);
    if (known == nullptr)
        return;
    known->closed = true;
    known->queue.clear();
    trace.line("close", "handle=" + std::to_string(known->number));
    inputChanged.notify_all();
}

/// Null for a handle that is closed or none of ours; never looks behind those.
hid_device_ *Simulator::find(const hid_device_ *handle) const
{
    const auto known = std::find_if(handles.rbegin(), handles.rend(),
                                    [handle](const auto &one) { return one.get() == handle; });
    return known == handles.rend() || (*known)->closed ? nullptr : known->get();
}

std::optional<Simulator::Listing> Simulator::describe(const hid_device_ *handle) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    const hid_device_ *const known = find(handle);
    if (known == nullptr)
        return std::nullopt;
    const Device &device = devices[known->device];
    return Listing{device.path, device.microphone.vendorId(), device.microphone.productId()};
}

int Simulator::write(hid_device_ *handle, const std::uint8_t *data, std::size_t length)
{
    const auto done = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(mutex);
    const std::uint32_t call = ++writeCalls;
    const auto packetTime = settings.packetTime;
    const auto fail = [&](const char *why) {
        trace.line("write", std::string("packet=none length=") + std::to_string(length) +
                                " result=-1 why=" + why + " data=" + Trace::hex(data, length));
        return -1;
    };
    const auto failFor = [&](const hid_device_ *known) {
        if (known == nullptr)
            return fail("closed");
        // The device may be back: this handle is not.
        violate(Microphone::Refusal::Absent);
        return fail("lost");
    };

    hid_device_ *known = find(handle);
    if (known == nullptr || known->lost)
        return failFor(known);
    // The transfer: whatever else happens goes on meanwhile.
    lock.unlock();
    std::this_thread::sleep_until(done + packetTime);
    lock.lock();
    known = find(handle);
    if (known == nullptr || known->lost)
        return failFor(known);
    if (settings.failingWrites.contains(call))
        return fail("fail-writes");

    const std::size_t index = known->device;
    Microphone &microphone = devices[index].microphone;
    const Microphone::Refusal refusal = microphone.receive(data, length, now());
    if (refusal != Microphone::Refusal::None) {
        violate(refusal);
        return fail("refused");
    }
    taken.emplace_back(data, data + length);
    trace.line("write", "packet=" + std::to_string(microphone.lastPacket().value_or(0)) +
                            " length=" + std::to_string(length) + " result=" +
                            std::to_string(length) + " data=" + Trace::hex(data, length));
    advance(index);
    wake.notify_all();
    return static_cast<int>(length);
}

int Simulator::read(hid_device_ *handle, std::uint8_t *data, std::size_t length, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock<std::mutex> lock(mutex);
    const std::uint32_t call = ++readCalls;
    hid_device_ *const known = find(handle);
    if (known == nullptr)
        return -1;
    if (settings.failingReads.contains(call))
        return failRead(*known, "fail-reads");
    const auto isOver = [known] { return known->closed || known->lost || !known->queue.empty(); };
    if (timeoutMs < 0)
        inputChanged.wait(lock, isOver);
    else
        inputChanged.wait_until(lock, end, isOver);
    return finishRead(*known, data, length);
}

int Simulator::finishRead(hid_device_ &handle, std::uint8_t *data, std::size_t length)
{
    if (handle.closed)
        return failRead(handle, "closed");
    // What was queued goes with the device.
    if (handle.lost)
        return failRead(handle, "lost");
    handle.failing = false;
    if (handle.queue.empty())
        return 0;
    const InputReport report = handle.queue.front();
    handle.queue.pop_front();
    const bool cut = settings.shortReads.contains(++reportsRead);
    const std::size_t size = std::min(length, cut ? shortReportSize : report.size());
    std::copy_n(report.begin(), size, data);
    trace.line("read", "handle=" + std::to_string(handle.number) +
                           " result=" + std::to_string(size) + " data=" + Trace::hex(data, size));
    return static_cast<int>(size);
}

int Simulator::failRead(hid_device_ &handle, const char *why)
{
    if (!handle.failing)
        trace.line("read", "handle=" + std::to_string(handle.number) + " result=-1 why=" + why);
    handle.failing = true;
    return -1;
}

int Simulator::readTimeout(const hid_device_ *handle) const
{
    constexpr int waitForever = -1;
    const std::lock_guard<std::mutex> lock(mutex);
    const hid_device_ *const known = find(handle);
    return known != nullptr && known->nonBlocking ? 0 : waitForever;
}

bool Simulator::setNonBlocking(const hid_device_ *handle, bool nonBlocking)
{
    const std::lock_guard<std::mutex> lock(mutex);
    hid_device_ *const known = find(handle);
    if (known == nullptr)
        return false;
    known->nonBlocking = nonBlocking;
    return true;
}

void Simulator::registerNotices(NoticeCallback callback, void *context)
{
    const std::lock_guard<std::mutex> lock(mutex);
    trace.line("register", callback != nullptr ? "callback=yes" : "callback=none");
    if (callback == nullptr) {
        noticesOff = noticesOff || receiver != nullptr;
        notices.clear();
        return;
    }
    loopEnded = false;
    if (receiver == nullptr)
        receiver = new NoticeReceiver; // NOLINT(cppcoreguidelines-owning-memory)
    noticeCallback = callback;
    noticeContext = context;
}

void Simulator::deliverNotices()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (!notices.empty()) {
        const Notice notice = std::move(notices.front());
        notices.pop_front();
        const NoticeCallback callback = noticeCallback;
        void *const context = noticeContext;
        const Listing &device = notice.device;
        trace.line("notice", std::string(notice.removal ? "removal" : "arrival") + " path=" +
                                 device.path + " id=" + Trace::ids(device.vendor, device.product));
        // The receiver opens and closes devices, which takes the lock.
        lock.unlock();
        callback(device.vendor, device.product, device.path.c_str(), notice.removal ? 1 : 0,
                 context);
        lock.lock();
    }
}

void Simulator::stopNotices()
{
    const std::lock_guard<std::mutex> lock(mutex);
    loopEnded = true;
}

} // namespace sim
