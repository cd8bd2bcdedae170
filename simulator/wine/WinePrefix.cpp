#include "simulator/wine/WinePrefix.h"

#include "simulator/host/ChildProcess.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>

namespace sim {

namespace {

/// A new prefix takes 2 to 10 seconds; much more on a machine under load.
constexpr std::chrono::seconds installPatience{180};
constexpr std::chrono::seconds serverPatience{30};
constexpr mode_t fileMode = 0644;

std::string variable(const char *name)
{
    const char *const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// Where the presets put it, seen from build/release/bin.
std::string bridgeOfWindowsBuild()
{
    constexpr const char *fromHere = "../../windows/simulator/windows/velmo-simbridge.exe";
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return (self.parent_path() / fromHere).lexically_normal().string();
}

/// What was written to the file so far, on one line.
std::string contentOf(int file)
{
    std::array<char, 1024> buffer{};
    const ssize_t size = pread(file, buffer.data(), buffer.size(), 0);
    std::string text(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

} // namespace

std::string WinePrefix::prepare()
{
    const std::string folder = variable("WINEPREFIX");
    bridgePath = variable("VELMO_SIM_BRIDGE");
    if (bridgePath.empty())
        bridgePath = bridgeOfWindowsBuild();
    if (folder.empty() || folder.front() != '/')
        return "WINEPREFIX: name a folder for wine, from the root on; it is made when it is "
               "missing";
    if (!std::filesystem::is_regular_file(bridgePath))
        return "VELMO_SIM_BRIDGE: name the velmo-simbridge.exe of a Windows build; there is none "
               "at " +
               bridgePath;
    if (variable("DISPLAY").empty())
        return "DISPLAY: Windows programs need an X server under wine; start one (Xvfb will do)";

    // Quiet, without the offers to fetch what is not needed here, unless told otherwise.
    setenv("WINEDEBUG", "-all", 0);
    setenv("WINEDLLOVERRIDES", "mscoree,mshtml=", 0);
    // Wine keeps variables of this kind from Windows programs unless they are named so.  A
    // program without a console would write its debug output to a debugger.
    setenv("WINEQT_FORCE_STDERR_LOGGING", "1", 1);

    std::string fault = lock(folder);
    if (fault.empty())
        fault = startServer();
    if (fault.empty())
        fault = installDriver();
    return fault;
}

std::string WinePrefix::lock(const std::string &folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const std::string path = folder + "/velmo-sim.lock";
    lockFile = FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode));
    if (!lockFile.isOpen())
        return "WINEPREFIX: " + path + ": " + std::strerror(errno);
    if (flock(lockFile.get(), LOCK_EX | LOCK_NB) != 0)
        return "WINEPREFIX: another velmo-sim-wine runs in " + folder +
               "; wait for its end or name another folder";
    return {};
}

std::string WinePrefix::startServer()
{
    // The first processes of a prefix live on and keep what they were given, so none of it
    // is the caller's.  Wine ends when it has not been used for this many seconds; without
    // that it would, with the driver, at the end of each program.
    constexpr const char *keepAlive = "-p60";
    const FileDescriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    ChildProcess server;
    std::optional<int> code;
    if (server.start({"wineserver", keepAlive}, null.get(), null.get(), null.get(),
                     ChildProcess::WhenLeft::LivesOn))
        code = server.waitForEnd(serverPatience);
    if (!code)
        return "wineserver does not start";
    if (*code == ChildProcess::cannotStart)
        return "there is no wineserver in PATH; install wine";
    // It ends with an error when one runs already.
    return {};
}

std::string WinePrefix::installDriver()
{
    const FileDescriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    const FileDescriptor output(memfd_create("velmo-simbridge", MFD_CLOEXEC));
    ChildProcess installer;
    if (!installer.start({"wine", bridgePath, "install"}, null.get(), output.get(), output.get(),
                         ChildProcess::WhenLeft::LivesOn))
        return "there cannot be another process";
    const auto code = installer.waitForEnd(installPatience);
    if (!code)
        return "wine does not get ready; end it with 'wineserver -k' and try again";
    if (*code != 0)
        return "the driver is not installed; is wine the one for 64 bits? " +
               contentOf(output.get());
    return {};
}

} // namespace sim
