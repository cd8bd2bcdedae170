/// The HID library over the simulator, with the functions that the updater and velmo-flash call.
/// They fail for a handle that is closed, null or unknown, and do not dereference it.

#include "simulator/dropin/Simulator.h"
#include "simulator/model/DeviceNames.h"

#include "device/hidapi/hidapi_additions.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using sim::Simulator;

/// Why the calling thread's last hid_open_path() failed; null when it did not.
thread_local const wchar_t *openError = nullptr;

// The records are C memory, like those of the real library.
// NOLINTBEGIN(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)
template <typename Character>
Character *copied(const Character *text)
{
    const std::size_t length = std::char_traits<Character>::length(text) + 1;
    auto *const copy = static_cast<Character *>(std::calloc(length, sizeof(Character)));
    if (copy != nullptr)
        std::copy_n(text, length, copy);
    return copy;
}

hid_device_info *makeRecord(const Simulator::Listing &listing)
{
    auto *const record = static_cast<hid_device_info *>(std::calloc(1, sizeof(hid_device_info)));
    if (record == nullptr)
        return nullptr;
    const sim::DeviceNames names = sim::deviceNames(listing.vendor);
    record->path = copied(listing.path.c_str());
    record->vendor_id = listing.vendor;
    record->product_id = listing.product;
    record->serial_number = copied(names.serial);
    record->release_number = sim::deviceRelease;
    record->manufacturer_string = copied(names.manufacturer);
    record->product_string = copied(names.product);
    record->usage_page = sim::deviceUsagePage;
    record->usage = sim::deviceUsage;
    return record;
}
// NOLINTEND(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)

} // namespace

extern "C" {

int HID_API_EXPORT HID_API_CALL hid_init(void)
{
    return 0;
}

int HID_API_EXPORT HID_API_CALL hid_exit(void)
{
    return 0;
}

hid_device_info HID_API_EXPORT *HID_API_CALL hid_enumerate(unsigned short vendor_id,
                                                           unsigned short product_id)
{
    hid_device_info *first = nullptr;
    hid_device_info **end = &first;
    for (const auto &listing : Simulator::instance().enumerate(vendor_id, product_id)) {
        *end = makeRecord(listing);
        if (*end == nullptr)
            break;
        end = &(*end)->next;
    }
    return first;
}

void HID_API_EXPORT HID_API_CALL hid_free_enumeration(hid_device_info *devs)
{
    while (devs != nullptr) {
        hid_device_info *const next = devs->next;
        for (void *part :
             {static_cast<void *>(devs->path), static_cast<void *>(devs->serial_number),
              static_cast<void *>(devs->manufacturer_string),
              static_cast<void *>(devs->product_string), static_cast<void *>(devs)})
            std::free(part); // NOLINT: C memory
        devs = next;
    }
}

HID_API_EXPORT hid_device *HID_API_CALL hid_open_path(const char *path)
{
    hid_device *const device = path != nullptr ? Simulator::instance().open(path) : nullptr;
    openError = device != nullptr ? nullptr : L"no such device";
    return device;
}

int HID_API_EXPORT HID_API_CALL hid_write(hid_device *dev, const unsigned char *data, size_t length)
{
    const bool usable = dev != nullptr && data != nullptr && length > 0;
    return usable ? Simulator::instance().write(dev, data, length) : -1;
}

int HID_API_EXPORT HID_API_CALL hid_read_timeout(hid_device *dev, unsigned char *data,
                                                 size_t length, int milliseconds)
{
    const bool usable = dev != nullptr && data != nullptr && length > 0;
    return usable ? Simulator::instance().read(dev, data, length, milliseconds) : -1;
}

void HID_API_EXPORT HID_API_CALL hid_close(hid_device *dev)
{
    Simulator::instance().close(dev);
}

int HID_API_EXPORT_CALL hid_get_product_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    const auto listing = Simulator::instance().describe(dev);
    if (!listing || string == nullptr || maxlen == 0)
        return -1;
    const std::wstring text = sim::deviceNames(listing->vendor).product;
    string[text.copy(string, maxlen - 1)] = L'\0';
    return 0;
}

HID_API_EXPORT const wchar_t *HID_API_CALL hid_error(hid_device *dev)
{
    return dev == nullptr ? openError : nullptr;
}

int HID_API_EXPORT_CALL hid_max_input_report_len(hid_device *dev)
{
    if (dev == nullptr)
        return 0;
    return Simulator::instance().describe(dev) ? static_cast<int>(sim::inputReportSize) : -1;
}

void HID_API_EXPORT_CALL hid_register_device_notification(hid_device_notification_callback callback,
                                                          void *context)
{
    Simulator::instance().registerNotices(callback, context);
}

} // extern "C"
