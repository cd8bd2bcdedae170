#include "simulator/gadget/UsbGadget.h"

#include "simulator/DeviceNames.h"
#include "simulator/Trace.h"
#include "simulator/reportDescriptor.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace sim {

namespace {

namespace fs = std::filesystem;

/// The device nodes that usb_f_hid has.
constexpr std::size_t mostGadgets = 4;

const char *const gadgetsFolder = "/sys/kernel/config/usb_gadget";
const char *const namePrefix = "velmo-sim-";
// Of one gadget's folder.  0x409 is American English, which hosts ask for first.
const char *const stringsFolder = "strings/0x409";
const char *const functionFolder = "functions/hid.0";
const char *const configurationFolder = "configs/c.1";
const char *const functionInConfiguration = "configs/c.1/hid.0";

[[noreturn]] void fail(const fs::path &file)
{
    throw std::system_error(errno, std::generic_category(), file.string());
}

/// An attribute takes its value in one write.
void writeAttribute(const fs::path &file, const void *value, std::size_t size)
{
    const FileDescriptor attribute(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (!attribute.isOpen() || ::write(attribute.get(), value, size) != static_cast<ssize_t>(size))
        fail(file);
}

void writeAttribute(const fs::path &file, const std::string &value)
{
    writeAttribute(file, value.data(), value.size());
}

std::string hexNumber(std::uint16_t number)
{
    constexpr unsigned bitsPerByte = 8;
    const std::array<std::uint8_t, 2> bytes = {static_cast<std::uint8_t>(number >> bitsPerByte),
                                               static_cast<std::uint8_t>(number & 0xFF)};
    return "0x" + Trace::hex(bytes.data(), bytes.size());
}

/// The names are plain ASCII.
std::string narrow(const wchar_t *text)
{
    std::string narrowed;
    for (; *text != L'\0'; ++text)
        narrowed += static_cast<char>(*text);
    return narrowed;
}

void unbind(const fs::path &folder)
{
    writeAttribute(folder / "UDC", "\n");
}

/// In the order that configfs asks for.  What cannot be removed stays: there is no way to
/// do better.
void takeApart(const fs::path &folder)
{
    std::error_code ignored;
    for (const char *part :
         {functionInConfiguration, configurationFolder, functionFolder, stringsFolder})
        fs::remove(folder / part, ignored);
    fs::remove(folder, ignored);
}

/// The function's own device node, "/dev/hidg0".
fs::path nodeOf(const fs::path &folder)
{
    const fs::path file = folder / functionFolder / "dev";
    const FileDescriptor attribute(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 32> text{}; // "236:0", and a line end
    const ssize_t size = ::read(attribute.get(), text.data(), text.size());
    if (size <= 0)
        fail(file);
    const std::string number(text.data(), static_cast<std::size_t>(size) - 1);
    return "/dev" / fs::read_symlink("/sys/dev/char/" + number).filename();
}

} // namespace

std::size_t UsbGadget::room()
{
    std::size_t count = 0;
    while (count < mostGadgets && fs::exists("/sys/class/udc/dummy_udc." + std::to_string(count)))
        ++count;
    return count;
}

void UsbGadget::removeLeftovers()
{
    for (const auto &entry : fs::directory_iterator(gadgetsFolder)) {
        if (entry.path().filename().string().rfind(namePrefix, 0) != 0)
            continue;
        try {
            unbind(entry.path());
        } catch (const std::system_error &) { // it was not on the bus
        }
        takeApart(entry.path());
    }
}

UsbGadget::UsbGadget(std::size_t controllerNumber)
    : controller(controllerNumber)
    , folder(fs::path(gadgetsFolder) / (namePrefix + std::to_string(controllerNumber)))
{
    fs::create_directory(folder);
    for (const char *part : {stringsFolder, functionFolder, configurationFolder})
        fs::create_directory(folder / part);
    writeAttribute(folder / "bcdDevice", hexNumber(deviceRelease));
    writeAttribute(folder / functionFolder / "report_length", std::to_string(outputReportSize));
    writeAttribute(folder / functionFolder / "report_desc", reportDescriptor.data(),
                   reportDescriptor.size());
    fs::create_directory_symlink(folder / functionFolder, folder / functionInConfiguration);
}

UsbGadget::~UsbGadget()
{
    try {
        unplug();
    } catch (const std::system_error &) { // as good as unplugged
    }
    takeApart(folder);
}

void UsbGadget::plug(std::uint16_t vendor, std::uint16_t product)
{
    const DeviceNames names = deviceNames(vendor);
    writeAttribute(folder / "idVendor", hexNumber(vendor));
    writeAttribute(folder / "idProduct", hexNumber(product));
    writeAttribute(folder / stringsFolder / "manufacturer", narrow(names.manufacturer));
    writeAttribute(folder / stringsFolder / "product", narrow(names.product));
    writeAttribute(folder / stringsFolder / "serialnumber", narrow(names.serial));
    writeAttribute(folder / "UDC", "dummy_udc." + std::to_string(controller));
    const fs::path file = nodeOf(folder);
    node = FileDescriptor(::open(file.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (!node.isOpen())
        fail(file);
}

void UsbGadget::unplug()
{
    if (!isPlugged())
        return;
    waiting.clear();
    node.close();
    unbind(folder);
}

std::vector<std::uint8_t> UsbGadget::receive() const
{
    std::vector<std::uint8_t> report(outputReportSize);
    const ssize_t size = ::read(node.get(), report.data(), report.size());
    report.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return report;
}

void UsbGadget::flush()
{
    const InputReport &report = waiting.front();
    // Anything else than "not yet" is a host that has not set the device up, or does so
    // anew: then the report is lost, as on any bus.
    if (::write(node.get(), report.data(), report.size()) >= 0 || errno != EAGAIN)
        waiting.pop_front();
}

std::string UsbGadget::hostNode(std::size_t controllerNumber)
{
    const std::string bus = "/dummy_hcd." + std::to_string(controllerNumber) + "/";
    std::error_code none; // without any hidraw device there is no such folder
    for (const auto &entry : fs::directory_iterator("/sys/class/hidraw", none))
        if (fs::read_symlink(entry.path(), none).string().find(bus) != std::string::npos)
            return "/dev/" + entry.path().filename().string();
    return {};
}

} // namespace sim
