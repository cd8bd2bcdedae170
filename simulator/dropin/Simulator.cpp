#include "simulator/dropin/Simulator.h"

#include "simulator/dropin/hid_device_.h"
#include "simulator/model/queuedReports.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <thread>

namespace sim {

Simulator &Simulator::instance()
{
    // Never destroyed, because threads may still use it when the process ends.
    static auto *const simulator = new Simulator; // NOLINT(cppcoreguidelines-owning-memory)
    return *simulator;
}

Simulator::Simulator()
{
    std::thread([this] { runDevices(); }).detach();
}

std::string Simulator::configure(const std::string &settingsText)
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::string fault = bus.configure(settingsText);
    if (!fault.empty())
        return fault;
    for (const auto &handle : handles) {
        handle->closed = true;
        handle->queue.clear();
    }
    noticesOff = false;
    receiver.reset();
    wake.notify_all();
    changed.notify_all();
    return {};
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

void Simulator::departed(std::size_t index)
{
    for (const auto &handle : handles)
        if (handle->device == index)
            handle->lost = true;
    changed.notify_all();
    notify(index, true);
}

void Simulator::arrived(std::size_t index)
{
    notify(index, false);
}

void Simulator::sent(std::size_t index, const Bus::Report &report)
{
    for (const auto &handle : handles) {
        if (handle->closed || handle->lost || handle->device != index)
            continue;
        handle->queue.push_back(report);
        if (handle->queue.size() > velmo_queued_reports) {
            const Bus::Report &oldest = handle->queue.front();
            bus.log().line("dropped", "handle=" + std::to_string(handle->number) +
                                          " data=" + Trace::hex(oldest.data(), oldest.size()));
            handle->queue.pop_front();
        }
    }
    changed.notify_all();
}

void Simulator::notify(std::size_t index, bool removal)
{
    if (receiver == nullptr || noticesOff || loopEnded)
        return;
    const auto tell = [this, device = listing(index), removal] { deliver(device, removal); };
#ifndef __clang_analyzer__ // clang's analyzer reports a false leak here.
    QMetaObject::invokeMethod(receiver.get(), tell, Qt::QueuedConnection);
#endif
}

void Simulator::deliver(const Listing &device, bool removal)
{
    std::unique_lock<std::mutex> lock(mutex);
    if (noticesOff)
        return;
    const NoticeCallback callback = noticeCallback;
    void *const context = noticeContext;
    bus.log().line("notice", std::string(removal ? "removal" : "arrival") + " path=" + device.path +
                                 " id=" + Trace::ids(device.vendor, device.product));
    // The receiver opens and closes devices, which takes the lock.
    lock.unlock();
    callback(device.vendor, device.product, device.path.c_str(), removal ? 1 : 0, context);
}

void Simulator::registerNotices(NoticeCallback callback, void *context)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (callback == nullptr) {
        noticesOff = noticesOff || receiver != nullptr;
        return;
    }
    loopEnded = false;
    if (receiver == nullptr) {
        receiver = std::make_unique<QObject>();
        // The event loop is about to end, so no more notices are posted to it.
        qAddPostRoutine([] {
            Simulator &simulator = instance();
            const std::lock_guard<std::mutex> ending(simulator.mutex);
            simulator.loopEnded = true;
        });
    }
    noticeCallback = callback;
    noticeContext = context;
}

Simulator::Listing Simulator::listing(std::size_t index) const
{
    const Bus::Device &device = bus.devices()[index];
    return {device.path, device.microphone.vendorId(), device.microphone.productId()};
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
    bus.log().line("enumerate", "count=" + std::to_string(listings.size()));
    return listings;
}

hid_device_ *Simulator::open(const std::string &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto index = bus.find(path);
    if (!index) {
        bus.log().line("open", "path=" + path + " handle=none");
        return nullptr;
    }
    bus.opened(*index);

    handles.push_back(std::make_unique<hid_device_>());
    hid_device_ *const handle = handles.back().get();
    handle->number = static_cast<int>(handles.size());
    handle->device = *index;
    bus.log().line("open", "path=" + path + " handle=" + std::to_string(handle->number));
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
    bus.log().line("close", "handle=" + std::to_string(known->number));
    changed.notify_all();
}

/// Null for a handle that is closed or unknown. Such a handle is not dereferenced.
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
    std::unique_lock<std::mutex> lock(mutex);
    const hid_device_ *const known = find(handle);
    if (known == nullptr)
        return -1;
    // Even if the device is back on the bus, this handle stays lost.
    const auto index = known->lost ? std::nullopt : std::optional(known->device);
    std::optional<bool> taken;
    bus.write(index, {data, data + length}, [this, &taken](bool answer) {
        taken = answer;
        changed.notify_all();
    });
    wake.notify_all();
    changed.wait(lock, [&taken] { return taken.has_value(); });
    return *taken ? static_cast<int>(length) : -1;
}

int Simulator::read(hid_device_ *handle, std::uint8_t *data, std::size_t length, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock<std::mutex> lock(mutex);
    hid_device_ *const known = find(handle);
    if (known == nullptr)
        return -1;
    const auto isOver = [known] { return known->closed || known->lost || !known->queue.empty(); };
    if (timeoutMs < 0)
        changed.wait(lock, isOver);
    else
        changed.wait_until(lock, end, isOver);
    if (known->closed)
        return failRead(*known, "closed");
    // Reports that were queued are lost with the device.
    if (known->lost)
        return failRead(*known, "lost");
    known->failing = false;
    if (known->queue.empty())
        return 0;
    const Bus::Report report = known->queue.front();
    known->queue.pop_front();
    if (report.empty())
        return failRead(*known, "fail-reads");
    const std::size_t size = std::min(length, report.size());
    std::copy_n(report.begin(), size, data);
    bus.log().line("read", "handle=" + std::to_string(known->number) + " result=" +
                               std::to_string(size) + " data=" + Trace::hex(data, size));
    return static_cast<int>(size);
}

int Simulator::failRead(hid_device_ &handle, const char *why)
{
    if (!handle.failing)
        bus.log().line("read", "handle=" + std::to_string(handle.number) + " result=-1 why=" + why);
    handle.failing = true;
    return -1;
}

} // namespace sim
