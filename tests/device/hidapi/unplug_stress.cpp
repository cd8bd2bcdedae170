/// Reads and writes a HID device from two threads, each as fast as it can. tst_hid_stress
/// runs it with our library and with the plain backend.
///
///   unplug_stress [--close] [PATH]
///
/// It uses the microphone and counts writes once that is unplugged. PATH names a file to use
/// instead, whose writes fail and whose reads succeed; this is faster. --close closes the
/// device while both threads use it, otherwise it is closed after they have ended.
///
/// Exits with 0 if it does not crash, with 1 if there is no device.

#include <hidapi.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

/// Failing writes: enough for two calls to collide. With --close the second half of them is on
/// a closed handle.
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
        // The microphone refuses this, so writes fail even before it is unplugged.
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
