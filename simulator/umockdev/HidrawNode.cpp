#include "simulator/umockdev/HidrawNode.h"

#include "simulator/model/DeviceNames.h"
#include "simulator/model/Trace.h"
#include "simulator/model/queuedReports.h"
#include "simulator/model/reportDescriptor.h"

#include <fcntl.h>
#include <linux/hidraw.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace sim {

namespace {

/// Two digits for every port, so that the devices sort as they are listed.
constexpr std::size_t firstPort = 10;
/// The major device number of pseudo-terminals in the kernel's list of devices.
constexpr int terminalMajor = 136;
constexpr std::size_t nodeNamePrefix = sizeof("/dev/") - 1;

[[noreturn]] void fail(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

std::string taken(gchar *text)
{
    const std::unique_ptr<gchar, decltype(&g_free)> owner(text, &g_free);
    return text != nullptr ? text : "";
}

/// The program's memory that an ioctl's argument points to, or null.
guint8 *argument(UMockdevIoctlClient *client, std::size_t size)
{
    UMockdevIoctlData *const data =
        umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(client), 0, size, nullptr);
    return data != nullptr ? data->data : nullptr;
}

/// Whether the program has ended while it was handing over a report. umockdev then gives zeros
/// for it, but asking for the report again fails.
bool hasLostData(UMockdevIoctlClient *client)
{
    UMockdevIoctlData *const report = umockdev_ioctl_client_get_arg(client);
    if (std::count(report->data, report->data + report->data_len, 0) != report->data_len)
        return false;
    GError *error = nullptr;
    umockdev_ioctl_data_reload(report, &error);
    const bool isLost = error != nullptr;
    g_clear_error(&error);
    return isLost;
}

void complete(UMockdevIoctlClient *client, long result, int error)
{
    umockdev_ioctl_client_complete(client, result, error);
}

} // namespace

HidrawNode::HidrawNode(const Testbed &bed, Identity newIdentity, Inbox requestInbox)
    : testbed(bed)
    , self(std::move(newIdentity))
    , inbox(std::move(requestInbox))
    , handler(owned(umockdev_ioctl_base_new()))
{
    makeTerminal();
    g_signal_connect(handler.get(), "handle-ioctl", G_CALLBACK(onControl), this);
    g_signal_connect(handler.get(), "handle-read", G_CALLBACK(onRead), this);
    g_signal_connect(handler.get(), "handle-write", G_CALLBACK(onWrite), this);
    g_signal_connect(handler.get(), "client-connected", G_CALLBACK(onOpened), this);
    umockdev_testbed_attach_ioctl(testbed.get(), self.path.c_str(), handler.get(), nullptr);
    makeDevices();
}

void HidrawNode::makeTerminal()
{
    int masterSide = 0;
    int slaveSide = 0;
    if (openpty(&masterSide, &slaveSide, nullptr, nullptr, nullptr) != 0)
        fail("cannot open a pseudo-terminal");
    master.reset(masterSide);
    slave.reset(slaveSide);
    termios mode{};
    tcgetattr(slave.get(), &mode);
    cfmakeraw(&mode);
    tcsetattr(slave.get(), TCSANOW, &mode);
    // The program opens the node instead of inheriting these.
    fcntl(master.get(), F_SETFD, FD_CLOEXEC);
    fcntl(slave.get(), F_SETFD, FD_CLOEXEC);

    std::filesystem::create_directories(testbed.root() + "/dev");
    std::filesystem::create_symlink("/dev/pts/" + std::to_string(terminalNumber()),
                                    testbed.root() + self.path);
}

/// The terminal's minor device number, which is its name, too.
int HidrawNode::terminalNumber() const
{
    struct stat status
    {
    };
    if (fstat(slave.get(), &status) != 0)
        fail("fstat");
    return static_cast<int>(gnu_dev_minor(status.st_rdev));
}

void HidrawNode::makeDevices()
{
    const DeviceNames names = deviceNames(self.id.vendor);
    const std::string manufacturer = narrow(names.manufacturer);
    const std::string productName = narrow(names.product);
    const std::string serial = narrow(names.serial);
    const std::string ids = Trace::ids(self.id.vendor, self.id.product);
    const std::string nodeName = self.path.substr(nodeNamePrefix);
    UMockdevTestbed *const bed = testbed.get();
    // Each call takes attributes, null, properties, null.
    const std::string usbName = "1-" + std::to_string(firstPort + self.port);
    usbDevice = taken(umockdev_testbed_add_device(
        bed, "usb", usbName.c_str(), nullptr, "idVendor", Trace::hex(self.id.vendor).c_str(),
        "idProduct", Trace::hex(self.id.product).c_str(), "bcdDevice",
        Trace::hex(deviceRelease).c_str(), "manufacturer", manufacturer.c_str(), "product",
        productName.c_str(), "serial", serial.c_str(), nullptr, "DEVTYPE", "usb_device", nullptr));
    usbInterface = taken(umockdev_testbed_add_device(bed, "usb", (usbName + ":1.0").c_str(),
                                                     usbDevice.c_str(), "bInterfaceNumber", "00",
                                                     nullptr, "DEVTYPE", "usb_interface", nullptr));
    // Bus 3 is USB.
    const std::string hidName =
        "0003:" + ids + '.' + Trace::hex(static_cast<std::uint16_t>(self.instance));
    const std::string hidId = "0003:0000" + ids.substr(0, 4) + ":0000" + ids.substr(5);
    hidDevice = taken(umockdev_testbed_add_device(bed, "hid", hidName.c_str(), usbInterface.c_str(),
                                                  nullptr, "HID_ID", hidId.c_str(), "HID_NAME",
                                                  (manufacturer + ' ' + productName).c_str(),
                                                  "HID_UNIQ", serial.c_str(), nullptr));
    auto descriptor = reportDescriptor;
    umockdev_testbed_set_attribute_binary(bed, hidDevice.c_str(), "report_descriptor",
                                          descriptor.data(), descriptor.size());

    // A program that is told of the arrival follows this link at once.
    const std::string folder = testbed.root() + hidDevice + "/hidraw/" + nodeName;
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink("../../../" + hidName, folder + "/device");
    // The terminal's own device number, because umockdev does not replace fstat(). With that
    // number the HID library finds the names in /sys of an open node.
    const std::string major = std::to_string(terminalMajor);
    const std::string minor = std::to_string(terminalNumber());
    hidrawDevice = taken(umockdev_testbed_add_device(
        bed, "hidraw", ("hidraw/" + nodeName).c_str(), hidDevice.c_str(), "dev",
        (major + ':' + minor).c_str(), nullptr, "DEVNAME", self.path.c_str(), "MAJOR",
        major.c_str(), "MINOR", minor.c_str(), nullptr));
}

void HidrawNode::unplug()
{
    std::deque<std::shared_ptr<UMockdevIoctlClient>> waiting;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (std::exchange(gone, true))
            return;
        waiting = std::exchange(readers, {});
        reports.clear();
        slave.reset();
        master.reset();
    }
    for (const auto &reader : waiting)
        complete(reader.get(), -1, EIO);
    umockdev_testbed_detach_ioctl(testbed.get(), self.path.c_str(), nullptr);
    // In a real /sys the device has disappeared when its removal is announced. Its folder
    // stays until then, because umockdev makes the event from it.
    std::error_code ignored;
    std::filesystem::remove(
        testbed.root() + "/sys/class/hidraw/" + self.path.substr(nodeNamePrefix), ignored);
    std::filesystem::remove(testbed.root() + self.path, ignored);
    for (std::string *device : {&hidrawDevice, &hidDevice, &usbInterface, &usbDevice}) {
        umockdev_testbed_uevent(testbed.get(), device->c_str(), "remove");
        umockdev_testbed_remove_device(testbed.get(), device->c_str());
    }
}

void HidrawNode::forgetReports()
{
    const std::lock_guard<std::mutex> lock(mutex);
    for (; !reports.empty(); reports.pop_front())
        takeToken();
}

std::optional<Bus::Report> HidrawNode::send(const Bus::Report &report)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (gone)
        return std::nullopt;
    reports.push_back(report);
    if (!readers.empty()) {
        handOver(readers.front().get());
        readers.pop_front();
        return std::nullopt;
    }
    if (reports.size() > velmo_queued_reports) {
        const Bus::Report oldest = reports.front();
        reports.pop_front();
        return oldest;
    }
    constexpr char token = 0;
    [[maybe_unused]] const ssize_t size = ::write(master.get(), &token, sizeof token);
    return std::nullopt;
}

/// Gives the reader the oldest report.
void HidrawNode::handOver(UMockdevIoctlClient *reader)
{
    UMockdevIoctlData *const buffer = umockdev_ioctl_client_get_arg(reader);
    const Bus::Report &report = reports.front();
    const std::size_t size = std::min(report.size(), static_cast<std::size_t>(buffer->data_len));
    const bool fails = report.empty();
    std::copy_n(report.begin(), size, buffer->data);
    reports.pop_front();
    complete(reader, fails ? -1 : static_cast<long>(size), fails ? EIO : 0);
}

void HidrawNode::takeToken() const
{
    // The byte has been written, so this does not wait for a report.
    char token = 0;
    [[maybe_unused]] const ssize_t size = ::read(slave.get(), &token, sizeof token);
}

gboolean HidrawNode::onControl(UMockdevIoctlBase * /*base*/, UMockdevIoctlClient *client,
                               gpointer node)
{
    auto *const self = static_cast<HidrawNode *>(node);
    {
        const std::lock_guard<std::mutex> lock(self->mutex);
        if (self->gone) {
            complete(client, -1, ENODEV);
            return TRUE;
        }
    }
    bool known = true;
    switch (umockdev_ioctl_client_get_request(client)) {
    case HIDIOCGRDESCSIZE: {
        const int size = reportDescriptor.size();
        if (guint8 *const target = argument(client, sizeof size))
            std::memcpy(target, &size, sizeof size);
        break;
    }
    case HIDIOCGRDESC: {
        // Only this part of the program's structure is used.
        constexpr std::size_t sizeField = sizeof(hidraw_report_descriptor::size);
        guint8 *const target = argument(client, sizeField + reportDescriptor.size());
        std::uint32_t room = 0;
        if (target == nullptr)
            break;
        std::memcpy(&room, target, sizeof room);
        std::copy_n(reportDescriptor.begin(), std::min(std::size_t{room}, reportDescriptor.size()),
                    target + sizeField);
        break;
    }
    default:
        known = false;
    }
    complete(client, known ? 0 : -1, known ? 0 : ENOTTY);
    return TRUE;
}

gboolean HidrawNode::onRead(UMockdevIoctlBase * /*base*/, UMockdevIoctlClient *client,
                            gpointer node)
{
    auto *const self = static_cast<HidrawNode *>(node);
    const std::lock_guard<std::mutex> lock(self->mutex);
    if (self->gone) {
        complete(client, -1, EIO);
    } else if (self->reports.empty()) {
        self->readers.push_back(owned(UMOCKDEV_IOCTL_CLIENT(g_object_ref(client))));
    } else {
        self->takeToken();
        self->handOver(client);
    }
    return TRUE;
}

gboolean HidrawNode::onWrite(UMockdevIoctlBase * /*base*/, UMockdevIoctlClient *client,
                             gpointer node)
{
    if (hasLostData(client)) {
        complete(client, -1, EIO);
        return TRUE;
    }
    auto *const self = static_cast<HidrawNode *>(node);
    self->inbox({self, owned(UMOCKDEV_IOCTL_CLIENT(g_object_ref(client)))});
    return TRUE;
}

void HidrawNode::onOpened(UMockdevIoctlBase * /*base*/, UMockdevIoctlClient * /*client*/,
                          gpointer node)
{
    auto *const self = static_cast<HidrawNode *>(node);
    self->forgetReports();
    self->inbox({self, nullptr});
}

} // namespace sim
