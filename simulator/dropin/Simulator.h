#pragma once

#include "simulator/model/Bus.h"
#include "simulator/model/IBusListener.h"

#include <QObject>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

struct hid_device_;

namespace sim {

/// The simulated bus behind the HID library's functions, one in a process.
///
/// Every function may be called from any thread. A separate thread runs the devices.
/// It and this object live until the process ends, because they may be in use until then.
class Simulator : private IBusListener
{
public:
    static Simulator &instance();
    /// @name For tests
    /// @{

    /// Starts over with these settings, in the grammar of VELMO_SIM: handles are
    /// closed, records emptied, the registration for notices is forgotten. Returns what
    /// is wrong with the settings, and changes nothing then; empty when they are right.
    std::string configure(const std::string &settingsText);
    /// As in Bus.
    void unplug();
    void plug(std::optional<std::uint16_t> productId = std::nullopt, bool upgrading = false);
    void inject(const InputReport &report);
    std::vector<Microphone::Refusal> violations() const;
    /// @}

    /// @name For the HID library's functions
    /// @{

    struct Listing
    {
        std::string path;
        std::uint16_t vendor = 0;
        std::uint16_t product = 0;
    };
    using NoticeCallback = void (*)(unsigned short vendorId, unsigned short productId,
                                    const char *path, int removal, void *context);

    /// The devices on the bus. An id of 0 matches all.
    std::vector<Listing> enumerate(std::uint16_t vendor, std::uint16_t product);
    /// Null when there is no such device.
    hid_device_ *open(const std::string &path);
    void close(hid_device_ *handle);
    /// The device of the handle, or nothing if the handle is closed or unknown.
    std::optional<Listing> describe(const hid_device_ *handle) const;
    /// Waits until the device has the report. Returns `length`, or -1.
    int write(hid_device_ *handle, const std::uint8_t *data, std::size_t length);
    /// The report's size, 0 after `timeoutMs` (negative: none), or -1.
    int read(hid_device_ *handle, std::uint8_t *data, std::size_t length, int timeoutMs);
    /// Like the HID library's registration: a second callback replaces the first one, and
    /// after an unregistration there are no notices any more. Notices come through the event
    /// loop of the thread that registered first.
    void registerNotices(NoticeCallback callback, void *context);
    /// @}

private:
    Simulator();

    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const Bus::Report &report) override;

    void runDevices();
    Listing listing(std::size_t index) const;
    void notify(std::size_t index, bool removal);
    void deliver(const Listing &device, bool removal);
    hid_device_ *find(const hid_device_ *handle) const;
    int failRead(hid_device_ &handle, const char *why);

    /// Guards everything below.
    mutable std::mutex mutex;
    /// Wakes the devices' thread, because something is due earlier than before.
    std::condition_variable wake;
    /// Wakes readers and writers: a report came or was taken, or a device is gone or closed.
    std::condition_variable changed;

    Bus bus{this, "/dev/velmo-sim"};
    std::vector<std::unique_ptr<hid_device_>> handles;

    NoticeCallback noticeCallback = nullptr;
    void *noticeContext = nullptr;
    bool noticesOff = false;
    bool loopEnded = false;
    /// Belongs to the thread whose event loop brings the notices.
    std::unique_ptr<QObject> receiver;
};

} // namespace sim
