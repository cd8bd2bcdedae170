#include "simulator/umockdev/Testbed.h"

#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace sim {

namespace {

/// The longest name that the test bed adds to the temporary folder's for a socket.
constexpr std::string_view longestSocketName = "/umockdev.XXXXXX/ioctl/dev/hidraw0000";

UMockdevTestbed *makeBed()
{
    // umockdev would end the process without saying why.
    const std::string folder = g_get_tmp_dir();
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error("TMPDIR: '" + folder +
                                 "' cannot be written to, set it to a folder that can");
    constexpr std::size_t room =
        sizeof(sockaddr_un::sun_path) - longestSocketName.size() - 1; // its zero
    if (folder.size() > room)
        throw std::runtime_error("TMPDIR: '" + folder +
                                 "' is too long for the sockets in it, set "
                                 "it to a folder with a name of at most " +
                                 std::to_string(room) + " bytes");
    return umockdev_testbed_new();
}

} // namespace

Testbed::Testbed()
    : bed(owned(makeBed()))
{
    // Not called earlier, because it remembers its first answer: no, without a test bed.
    if (!umockdev_in_mock_environment())
        throw std::runtime_error("umockdev's preload library could not be loaded: install "
                                 "Debian's package umockdev");
    const std::unique_ptr<char, decltype(&g_free)> folder(umockdev_testbed_get_root_dir(bed.get()),
                                                          &g_free);
    rootFolder = folder.get();
}

} // namespace sim
