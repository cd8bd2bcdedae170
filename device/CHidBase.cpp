#include "device/CHidBase.h"

#include "device/Output.h"
#include "device/deviceSelection.h"

#include <QDebug>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int readTimeoutMs = 64;
constexpr int waitReadTimeoutMs = 1024;
constexpr std::size_t wideProductNameSize = 256;

/// Whether the selection flags select this enumeration record. Unless exactly one flag is
/// set they select nothing.
bool isSelected(const hid_device_info &record)
{
    const bool plain = g_selPlain;
    const bool r5 = g_selR5;
    const bool r5Otg = g_selR5Otg;
    if (record.vendor_id != microphoneVendorId || plain + r5 + r5Otg != 1)
        return false;
    const Microphone selected = r5 ? Microphone::R5 : Microphone::R5Otg;
    return productIdsOf(plain ? Microphone::Plain : selected).contains(record.product_id);
}

/// Devices may leave out their strings.
QByteArray textOf(const wchar_t *text)
{
    return text != nullptr ? QString::fromWCharArray(text).toLocal8Bit() : QByteArray("(null)");
}

void printFound(const hid_device_info &found)
{
    Output::print("Device Found\n  type: %04hx %04hx\n  path: %s\n  serial_number: %s",
                  microphoneVendorId, found.product_id, found.path,
                  textOf(found.serial_number).constData());
    Output::print("\n");
    Output::print("  Manufacturer: %s\n", textOf(found.manufacturer_string).constData());
    Output::print("  Product:      %s\n", textOf(found.product_string).constData());
    Output::print("  Release:      %hx\n", found.release_number);
    Output::print("  Interface:    %d\n", found.interface_number);
    Output::print("  Usage Page:   %04x\n", static_cast<unsigned>(found.usage_page));
    // Quirk: one blank less than the labels above. Kept in case somebody parses this list.
    Output::print("  Usage:       %04x\n", static_cast<unsigned>(found.usage));
}

} // namespace

CHidBase::CHidBase() = default;

CHidBase::~CHidBase()
{
    hid_free_enumeration(foundDevice);
    if (hidInitialised)
        hid_exit();
}

bool CHidBase::init()
{
    if (!hidInitialised)
        hidInitialised = hid_init() == 0;
    return hidInitialised;
}

const void *CHidBase::findDevice(std::uint32_t /*vid*/, std::uint32_t /*pid*/,
                                 std::uint32_t /*option*/)
{
    hid_free_enumeration(foundDevice);
    foundDevice = nullptr;

    searching = true;
    hid_device_info *const all = hid_enumerate(0, 0);
    hid_device_info *before = nullptr;
    hid_device_info *record = all;
    // A record without a path cannot be opened.
    while (record != nullptr && !(record->path != nullptr && isSelected(*record))) {
        before = record;
        record = record->next;
    }
    if (record != nullptr) {
        if (g_selR5Otg)
            g_otgAltPid = record->product_id == r5OtgAltProductId;
        printFound(*record);
    }
    // Keep the match and everything after it; free everything before it.
    if (record != all) {
        before->next = nullptr;
        hid_free_enumeration(all);
    }
    foundDevice = record;
    searching = false;
    return foundDevice;
}

bool CHidBase::getDeviceInfo(const void *record, char *pathOut, std::uint32_t *vidOut,
                             std::uint32_t *pidOut)
{
    if (record == nullptr)
        return false;
    const auto &info = *static_cast<const hid_device_info *>(record);
    const std::size_t size = std::strlen(info.path) + 1;
    if (size > pathBufferSize)
        return false;
    std::memcpy(pathOut, info.path, size);
    *vidOut = info.vendor_id;
    *pidOut = info.product_id;
    return true;
}

bool CHidBase::isOpen()
{
    return handle != nullptr && vid == g_activeModelCode;
}

bool CHidBase::open(const char *newPath, std::uint32_t newVid, std::uint32_t newPid,
                    std::uint32_t /*option*/)
{
    if (!hidInitialised || newPath == nullptr)
        return false;
    if (handle != nullptr)
        return true;
    const std::size_t pathSize = std::strlen(newPath) + 1;
    if (pathSize > path.size())
        return false;
    hid_device *const opened = hid_open_path(newPath);
    if (opened == nullptr)
        return false;

    std::array<wchar_t, wideProductNameSize> wide{};
    if (hid_get_product_string(opened, wide.data(), wide.size() - 1) == 0) {
        const std::size_t room = productName.size() - 1;
        const std::size_t length = std::wcstombs(productName.data(), wide.data(), room);
        // A name that the locale cannot represent becomes empty.
        productName[length <= room ? length : 0] = '\0';
    }
    // newPath may be our own buffer, from getPath().
    std::memmove(path.data(), newPath, pathSize);
    // The length is -1 if the descriptor cannot be read.
    maxInputReportLen = std::max(0, hid_max_input_report_len(opened));
    vid = static_cast<int>(newVid);
    pid = static_cast<int>(newPid);
    handle = opened;
    return true;
}

void CHidBase::close()
{
    hid_device *const open = handle;
    if (open != nullptr) {
        // Clear the pointer first, so that no new call starts on a closed handle.
        handle = nullptr;
        hid_close(open);
    }
    maxInputReportLen = 0;
    productName[0] = '\0';
}

bool CHidBase::write(const std::uint8_t *data, std::size_t length)
{
    hid_device *const open = handle;
    if (open == nullptr)
        return false;
    // Quirk: the result is ignored. The transfer relies on that, because a slow write fails
    // here and still goes out. Reads and the removal notice tell when the device is lost.
    hid_write(open, data, length);
    return true;
}

bool CHidBase::waitRead(bool /*flag*/, int /*ignored*/)
{
    hid_device *const open = handle;
    if (open == nullptr)
        return false;
    readBuffer.fill(0);
    return hid_read_timeout(open, readBuffer.data(), inputReportSize, waitReadTimeoutMs) > 0;
}

bool CHidBase::read(std::uint8_t *destination, int /*ignored*/)
{
    hid_device *const open = handle;
    if (open == nullptr)
        return false;
    // A short report must not end in bytes of the previous one.
    readBuffer.fill(0);
    if (hid_read_timeout(open, readBuffer.data(), inputReportSize, readTimeoutMs) <= 0)
        return false;
    if (destination != nullptr)
        std::copy_n(readBuffer.begin(), inputReportSize, destination);
    return true;
}

void CHidBase::registerNotify(NotifyCallback callback, void *context)
{
    if (callback != nullptr)
        hid_register_device_notification(&CHidBase::relay, this);
    else
        hid_register_device_notification(nullptr, nullptr);
    notifyCallback = callback;
    notifyContext = context;
}

void CHidBase::relay(unsigned short vid, unsigned short pid, const char *path, int removal,
                     void *context)
{
    auto *const self = static_cast<CHidBase *>(context);
    if (self == nullptr || self->searching)
        return;
    qDebug() << "testddddddd" << path << removal << vid << pid << self->notifyContext;
    // Only the context can be null here: without a callback nothing is registered.
    if (self->notifyContext != nullptr)
        self->notifyCallback(path, removal, vid, pid, self->notifyContext);
}
