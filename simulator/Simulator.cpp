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
    for (const auto &handle : handles) {
        handle->closed = true;
        handle->queue.clear();
    }
    writeCalls = readCalls = reportsRead = 0;
    noticeCallback = nullptr;
    noticeContext = nullptr;
    noticesOff = false;
    notices.clear();
    if (receiver != nullptr)
        receiver->deleteLater();
    receiver = nullptr;

    bus.configure(newSettings, text);
    wake.notify_all();
    inputChanged.notify_all();
}

void Simulator::runDevices()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        if (const auto next = bus.runDue())
            wake.wait_until(lock, *next);
        else
            wake.wait(lock);
    }
}

void Simulator::unplug()
{
    const std::lock_guard<std::mutex> lock(mutex);
    bus.unplug();
}

void Simulator::plug(std::optional<std::uint16_t> productId, bool upgrading)
{
    const std::lock_guard<std::mutex> lock(mutex);
    bus.plug(productId, upgrading);
}

void Simulator::inject(const InputReport &report)
{
    const std::lock_guard<std::mutex> lock(mutex);
    bus.inject(report);
}

std::vector<Microphone::Refusal> Simulator::violations() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return bus.violations();
}

std::vector<std::vector<std::uint8_t>> Simulator::packets() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return bus.packets();
}

void Simulator::departed(std::size_t index)
{
    for (const auto &handle : handles)
        if (handle->device == index)
            handle->lost = true;
    inputChanged.notify_all();
    notify(index, true);
}

void Simulator::arrived(std::size_t index)
{
    notify(index, false);
}

void Simulator::sent(std::size_t index, const InputReport &report)
{
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

void Simulator::notify(std::size_t index, bool removal)
{
    if (receiver == nullptr || noticesOff || loopEnded)
        return;
    notices.push_back({listing(index), removal});
    receiver->wake();
}

Simulator::Listing Simulator::listing(std::size_t index) const
{
    const Bus::Device &device = bus.devices()[index];
    return {device.path, device.microphone.vendorId(), device.microphone.productId()};
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
    for (std::size_t i = 0; i < bus.devices().size(); ++i) {
        const Microphone &microphone = bus.devices()[i].microphone;
        if (microphone.isOnBus() && (vendor == 0 || vendor == microphone.vendorId()) &&
            (product == 0 || product == microphone.productId()))
            listings.push_back(listing(i));
    }
    trace.line("enumerate", "count=" + std::to_string(listings.size()));
    return listings;
}

hid_device_ *Simulator::open(const std::string &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto index = bus.find(path);
    if (!index) {
        trace.line("open", "path=" + path + " handle=none");
        return nullptr;
    }
    bus.opened(*index);

    handles.push_back(std::make_unique<hid_device_>());
    hid_device_ *const handle = handles.back().get();
    handle->number = static_cast<int>(handles.size());
    handle->device = *index;
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
    return listing(known->device);
}

int Simulator::write(hid_device_ *handle, const std::uint8_t *data, std::size_t length)
{
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> lock(mutex);
    const std::uint32_t call = ++writeCalls;
    const auto writeTime = bus.currentSettings().writeTime(call);
    const auto fail = [&](const char *why) {
        bus.traceFailedWrite(data, length, why);
        return -1;
    };
    const auto failFor = [&](const hid_device_ *known) {
        if (known == nullptr)
            return fail("closed");
        // The device may be back: this handle is not.
        bus.violate(Microphone::Refusal::Absent);
        return fail("lost");
    };

    hid_device_ *known = find(handle);
    if (known == nullptr || known->lost)
        return failFor(known);
    // The transfer: whatever else happens goes on meanwhile.
    lock.unlock();
    // Windows wakes up to a clock tick early.
    while (std::chrono::steady_clock::now() < start + writeTime)
        std::this_thread::sleep_until(start + writeTime);
    lock.lock();
    known = find(handle);
    if (known == nullptr || known->lost)
        return failFor(known);
    if (bus.currentSettings().failingWrites.contains(call))
        return fail("fail-writes");

    if (bus.receive(known->device, data, length) != Microphone::Refusal::None)
        return -1;
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
    if (bus.currentSettings().failingReads.contains(call))
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
    const bool cut = bus.currentSettings().shortReads.contains(++reportsRead);
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
