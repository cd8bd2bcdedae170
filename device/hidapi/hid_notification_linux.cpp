#include "device/hidapi/hid_device_ids.h"
#include "device/hidapi/hid_notification.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include <libudev.h>

#include <cstring>
#include <memory>
#include <optional>

namespace {

struct Unref
{
    void operator()(udev *context) const { udev_unref(context); }
    void operator()(udev_monitor *monitor) const { udev_monitor_unref(monitor); }
    void operator()(udev_device *device) const { udev_device_unref(device); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unref>;

std::optional<hid_device_ids> idsOf(udev_device *device)
{
    hid_device_ids ids{};
    udev_device *const parent =
        udev_device_get_parent_with_subsystem_devtype(device, "hid", nullptr);
    const char *const hidId =
        parent != nullptr ? udev_device_get_property_value(parent, "HID_ID") : nullptr;
    if (hidId != nullptr && hid_ids_from_hid_id(hidId, &ids) != 0)
        return ids;
    // On removal the parent is often gone, but the path still names it.
    const char *const path = udev_device_get_devpath(device);
    if (path != nullptr && hid_ids_from_device_path(path, &ids) != 0)
        return ids;
    return std::nullopt;
}

void deliver(udev_device *device)
{
    const char *const action = udev_device_get_action(device);
    const char *const node = udev_device_get_devnode(device);
    if (action == nullptr || node == nullptr)
        return;
    const bool removal = std::strcmp(action, "remove") == 0;
    if (!removal && std::strcmp(action, "add") != 0)
        return;
    if (const auto ids = idsOf(device))
        hid_notification_deliver(ids->vendor, ids->product, node, removal ? 1 : 0);
}

/// A udev monitor of the hidraw subsystem. The event loop of the thread that created it
/// reads it.
class HidrawMonitor
{
public:
    /// Null if the system refuses or the calling thread has no event loop.
    static std::shared_ptr<HidrawMonitor> create()
    {
        if (QAbstractEventDispatcher::instance() == nullptr)
            return nullptr;
        Owned<udev> context(udev_new());
        if (!context)
            return nullptr;
        // "udev" and not "kernel", whose events arrive before the device node has the owner
        // and mode that the rules give it.
        Owned<udev_monitor> monitor(udev_monitor_new_from_netlink(context.get(), "udev"));
        if (!monitor ||
            udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "hidraw", nullptr) < 0 ||
            udev_monitor_enable_receiving(monitor.get()) < 0)
            return nullptr;
        return std::make_shared<HidrawMonitor>(std::move(context), std::move(monitor));
    }

    HidrawMonitor(Owned<udev> newContext, Owned<udev_monitor> newMonitor)
        : context(std::move(newContext))
        , monitor(std::move(newMonitor))
        , notifier(new QSocketNotifier(udev_monitor_get_fd(monitor.get()), QSocketNotifier::Read))
    {
    }

    /// Starts to deliver notices. `self` is this object.
    void start(const std::shared_ptr<HidrawMonitor> &self)
    {
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                         [weak = std::weak_ptr<HidrawMonitor>(self)] {
                             // The receiver may close the source.
                             if (const auto alive = weak.lock())
                                 alive->drain();
                         });
    }

    void stop()
    {
        stopped = true;
        notifier->setEnabled(false);
    }

private:
    void drain()
    {
        while (!stopped) {
            const Owned<udev_device> device(udev_monitor_receive_device(monitor.get()));
            if (!device)
                return;
            deliver(device.get());
        }
    }

    struct DeleteLater
    {
        // Its signal may be the one being delivered.
        void operator()(QSocketNotifier *object) const { object->deleteLater(); }
    };

    Owned<udev> context;
    Owned<udev_monitor> monitor;
    std::unique_ptr<QSocketNotifier, DeleteLater> notifier;
    bool stopped = false;
};

/// Never destroyed: at exit the event loop is gone already.
std::shared_ptr<HidrawMonitor> &currentMonitor()
{
    static auto &current = *new std::shared_ptr<HidrawMonitor>;
    return current;
}

} // namespace

extern "C" int hid_notification_source_open()
{
    auto monitor = HidrawMonitor::create();
    if (!monitor)
        return 0;
    monitor->start(monitor);
    currentMonitor() = std::move(monitor);
    return 1;
}

extern "C" void hid_notification_source_close()
{
    const auto monitor = std::move(currentMonitor());
    if (monitor)
        monitor->stop();
}
