/// Reads and writes a HID device from two threads, each as fast as it can, and closes it
/// under both.  tst_hid_stress runs it, with the library as it is shipped and with the
/// plain backend.
///
///   unplug_stress          the microphone, from the moment when it vanishes
///   unplug_stress PATH     this file, whose writes fail and whose reads do not: faster
///
/// Ends with 0, unless the library cannot bear that; 1: there is no device.

#include <hidapi.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <thread>

namespace {

/// Failing writes, enough for two calls to meet in what they share; the last ones of
/// them on a closed handle.
constexpr int writesOfMicrophone = 3000;
constexpr int writesOfFile = 300000;
constexpr int closingDivisor = 2;
constexpr std::size_t reportSize = 65;

} // namespace

int main(int argc, char **argv)
{
    const bool isFile = argc > 1;
    const int calls = isFile ? writesOfFile : writesOfMicrophone;
    hid_device *const device = isFile ? hid_open_path(argv[1]) : hid_open(0x3C9E, 0x000B, nullptr);
    if (device == nullptr) {
        std::fputs("unplug_stress: there is no device\n", stderr);
        return 1;
    }
    std::atomic<bool> gone{isFile};
    std::atomic<int> writes{0};
    std::thread reader([&] {
        std::array<unsigned char, reportSize> report{};
        while (writes < calls) {
            if (hid_read_timeout(device, report.data(), report.size(), 0) < 0)
                gone = true;
        }
    });
    std::thread writer([&] {
        // The microphone refuses this, so that it fails before it vanishes, too.
        const std::array<unsigned char, reportSize> report{};
        while (writes < calls) {
            hid_write(device, report.data(), report.size());
            writes += gone ? 1 : 0;
        }
    });
    while (writes < calls / closingDivisor)
        std::this_thread::yield();
    hid_close(device);
    reader.join();
    writer.join();
    return 0;
}
