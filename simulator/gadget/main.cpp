/// velmo-sim-gadget PROGRAM ARGUMENTS...: runs the program on a machine whose kernel has
/// the simulated microphones on USB buses of its own, as VELMO_SIM says.

#include "simulator/gadget/GadgetHost.h"
#include "simulator/host/FileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <variant>

namespace {

// What sysexits.h calls them.
constexpr int exitUsage = 64;
constexpr int exitSystem = 71;
constexpr int exitBadSettings = 78;

const char *const lockFile = "/run/velmo-sim-gadget.lock";

int end(int code, const std::string &why)
{
    std::fprintf(stderr, "%s\n", why.c_str());
    return code;
}

int runProgram(char *const *arguments)
{
    // Before anything else is opened, so that it is given back first.
    const sim::FileDescriptor lock(::open(lockFile, O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    if (!lock.isOpen() || ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        return end(exitSystem, std::string(lockFile) +
                                   ": cannot be locked; one velmo-sim-gadget at a time, and "
                                   "root only");
    sim::Trace trace;
    if (!trace.open())
        return end(exitBadSettings, "VELMO_SIM_TRACE: the file cannot be opened for writing");
    const char *const given = std::getenv("VELMO_SIM");
    const std::string text = given != nullptr ? given : "";
    const auto parsed = sim::Settings::parse(text);
    if (const auto *const fault = std::get_if<std::string>(&parsed))
        return end(exitBadSettings, "VELMO_SIM: " + *fault);
    const auto &settings = std::get<sim::Settings>(parsed);
    const std::string fault = sim::GadgetHost::fault(settings);
    if (!fault.empty())
        return end(exitBadSettings, "VELMO_SIM: " + fault);
    return sim::GadgetHost(settings, text, &trace).run(arguments);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2)
        return end(exitUsage, "usage: velmo-sim-gadget PROGRAM ARGUMENTS...");
    try {
        return runProgram(argv + 1);
    } catch (const std::exception &failure) {
        return end(exitSystem,
                   std::string("velmo-sim-gadget: ") + failure.what() +
                       " (it needs root, configfs, udev and the kernel modules dummy_hcd, "
                       "usb_f_hid, usbhid, hid-generic)");
    }
}
