#include "simulator/windows/Bridge.h"

#include "simulator/DeviceNames.h"
#include "simulator/reportDescriptor.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <vector>

#include <windows.h>

namespace sim {

namespace {

/// Until whoever had the driver before has left.
constexpr std::chrono::milliseconds openPatience{10000};
/// Until the system has made a device of what was plugged in (20 to 50 ms).
constexpr std::chrono::milliseconds plugPatience{10000};
constexpr DWORD pauseMs = 2;

/// Into a field of velmo_text_room zeros.  What does not fit is left out; one zero stays.
template <typename Text>
void put(const Text &text, std::uint16_t *room)
{
    const std::size_t size = std::min<std::size_t>(text.size(), velmo_text_room - 1);
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size), room,
                   [](auto character) { return static_cast<std::uint16_t>(character); });
}

std::string failure(const std::string &what, unsigned long error)
{
    return what + ": Windows' error " + std::to_string(error);
}

/// The device can be opened by the name that Windows gives its interface.
bool waitForInterface(const std::string &vendor, const std::string &product,
                      const std::string &instance)
{
    const std::string name = "\\\\?\\HID#VID_" + vendor + "&PID_" + product + '#' + instance +
                             "#{4d1e55b2-f16f-11cf-88cb-001111000030}";
    const auto end = std::chrono::steady_clock::now() + plugPatience;
    do {
        HANDLE device = CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
        if (device != INVALID_HANDLE_VALUE) { // NOLINT: the macro's cast
            CloseHandle(device);
            return true;
        }
        Sleep(pauseMs);
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

} // namespace

Bridge::~Bridge()
{
    for (std::size_t slot = 0; slot < takers.size(); ++slot)
        unplug(slot);
}

std::string Bridge::run()
{
    const unsigned long error = control.open(openPatience);
    if (error == ERROR_SHARING_VIOLATION)
        return "the simulated bus is in use, or devices of an earlier run do not leave it: try "
               "again, or end the prefix's wine with 'wineserver -k'";
    if (error != ERROR_SUCCESS)
        return failure("the driver cannot be reached; is it installed?", error);
    std::uint32_t version = 0;
    control.call(VELMO_IOCTL_VERSION, nullptr, 0, &version, sizeof version);
    if (version != velmo_interface_version)
        return "the driver is another version: end the prefix's wine with 'wineserver -k'";
    tell({"READY", 0, {}});

    for (std::string text; std::getline(std::cin, text);) {
        if (!text.empty() && text.back() == '\r')
            text.pop_back();
        const auto line = BridgeLine::parse(text);
        if (!line)
            return "not understood: " + text;
        std::string fault = carryOut(*line);
        if (!fault.empty())
            return fault;
    }
    return {};
}

std::string Bridge::carryOut(const BridgeLine &line)
{
    if (line.word == "PLUG")
        return plug(line);
    if (line.word == "UNPLUG") {
        std::string fault = unplug(line.slot);
        if (fault.empty())
            tell({"UNPLUGGED", line.slot, {}});
        return fault;
    }
    if (line.word == "SEND")
        send(line);
    else if (line.word == "ACCEPT" || line.word == "REFUSE")
        answer(line.slot, line.word == "ACCEPT");
    else
        return "not for the bridge: " + line.word;
    return {};
}

std::string Bridge::plug(const BridgeLine &line)
{
    const std::string &vendorText = line.rest.at(0);
    const std::string &productText = line.rest.at(1);
    const std::string &instance = line.rest.at(2);
    const auto vendor = BridgeLine::idOf(vendorText);
    const auto product = BridgeLine::idOf(productText);
    if (!vendor || !product || instance.size() >= velmo_text_room)
        return "not understood: " + line.text();
    if (takers.at(line.slot).joinable())
        return "slot " + std::to_string(line.slot) + " has a device already";

    velmo_plug request{};
    request.slot = static_cast<std::uint32_t>(line.slot);
    request.vendor = *vendor;
    request.product = *product;
    request.release = deviceRelease;
    const DeviceNames names = deviceNames(*vendor);
    put(std::wstring_view(names.manufacturer), request.manufacturer_name);
    put(std::wstring_view(names.product), request.product_name);
    put(std::wstring_view(names.serial), request.serial);
    put(instance, request.instance);
    static_assert(reportDescriptor.size() <= velmo_descriptor_room);
    request.descriptor_size = static_cast<std::uint16_t>(reportDescriptor.size());
    std::copy(reportDescriptor.begin(), reportDescriptor.end(), request.descriptor);

    const unsigned long error = control.call(VELMO_IOCTL_PLUG, &request, sizeof request);
    if (error != ERROR_SUCCESS)
        return failure("a device could not be plugged in", error);
    takers.at(line.slot) = std::thread([this, slot = line.slot] { takeReports(slot); });
    // An unplugging must not overtake this: wine cannot cope with it.
    if (!waitForInterface(vendorText, productText, instance))
        return "wine does not recognise the device that was plugged in";
    tell({"PLUGGED", line.slot, {}});
    return {};
}

std::string Bridge::unplug(std::size_t slot)
{
    if (!takers.at(slot).joinable())
        return {};
    const velmo_slot request = {static_cast<std::uint32_t>(slot)};
    const unsigned long error = control.call(VELMO_IOCTL_UNPLUG, &request, sizeof request);
    if (error != ERROR_SUCCESS) {
        // It may wait for ever; what follows is the process's end.
        takers.at(slot).detach();
        return failure("a device could not be unplugged", error);
    }
    takers.at(slot).join();
    return {};
}

void Bridge::send(const BridgeLine &line)
{
    const auto bytes = BridgeLine::bytesOf(line.rest.at(0));
    if (!bytes || bytes->size() > velmo_report_room)
        return;
    velmo_report report{};
    report.slot = static_cast<std::uint32_t>(line.slot);
    report.size = static_cast<std::uint32_t>(bytes->size());
    std::copy(bytes->begin(), bytes->end(), report.data);
    // Fails for a device that has just left: the report goes with it.
    control.call(VELMO_IOCTL_GIVE, &report, sizeof report);
}

void Bridge::answer(std::size_t slot, bool accepted)
{
    const velmo_answer request = {static_cast<std::uint32_t>(slot), accepted ? 1U : 0U};
    // Fails for a device that has just left: the write has failed already.
    control.call(VELMO_IOCTL_ANSWER, &request, sizeof request);
}

void Bridge::takeReports(std::size_t slot)
{
    const velmo_slot request = {static_cast<std::uint32_t>(slot)};
    velmo_report report{};
    while (control.call(VELMO_IOCTL_TAKE, &request, sizeof request, &report, sizeof report) ==
           ERROR_SUCCESS)
        tell({"REPORT", slot, {BridgeLine::hexOf(report.data, report.size)}});
}

void Bridge::tell(const BridgeLine &line)
{
    const std::lock_guard<std::mutex> lock(outputMutex);
    const std::string text = line.text();
    // Nobody to tell it to: the input will end, too.
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

} // namespace sim
