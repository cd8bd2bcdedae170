/// Reads and writes a HID device from two threads, each as fast as it can.  tst_hid_stress
/// runs it, with the library as it is shipped and with the plain backend.
///
///   unplug_stress [--close] [PATH]
///
/// The microphone, from the moment when it vanishes; with PATH that file, whose writes fail
/// and whose reads do not: faster.  --close closes it under both threads, which a library
/// has to allow for; else it is closed behind them.
///
/// Ends with 0, unless the library cannot bear that; 1: there is no device.

#include <hidapi.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

/// Failing writes, enough for two calls to meet in what they share; with --close the last
/// ones of them on a closed handle.
constexpr int writesOfMicrophone = 3000;
constexpr int writesOfFile = 300000;
constexpr int closingDivisor = 2;
constexpr std::size_t reportSize = 65;

} // namespace

int main(int argc, char **argv)
{
    const bool closesEarly = argc > 1 && std::strcmp(argv[1], "--close") == 0;
    const int pathAt = closesEarly ? 2 : 1;
    const bool isFile = argc > pathAt;
    const int calls = isFile ? writesOfFile : writesOfMicrophone;
    hid_device *const device =
        isFile ? hid_open_path(argv[pathAt]) : hid_open(0x3C9E, 0x000B, nullptr);
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
    if (closesEarly)
        hid_close(device);
    reader.join();
    writer.join();
    if (!closesEarly)
        hid_close(device);
    return 0;
}
