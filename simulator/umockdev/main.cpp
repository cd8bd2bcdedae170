/// velmo-sim-umockdev PROGRAM ARGUMENTS...: runs the program with simulated microphones
/// on a test bed, as VELMO_SIM says, and ends with its exit code.

#include "simulator/Settings.h"
#include "simulator/Trace.h"
#include "simulator/umockdev/Host.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <variant>

namespace {

// Numbers of sysexits.h.
constexpr int exitUsage = 64;
constexpr int exitSystem = 71;
constexpr int exitBadSettings = 78;

constexpr const char *preloadVariable = "LD_PRELOAD";
/// Set by the build: the address sanitizer's run-time library, which has to be loaded
/// before every other, and a colon; or nothing.
constexpr const char *sanitizerRuntime = VELMO_SANITIZER_RUNTIME;
constexpr const char *umockdevPreload = "libumockdev-preload.so.0";

int complain(const std::string &line, int code)
{
    std::fprintf(stderr, "%s\n", line.c_str());
    return code;
}

/// Starts this program anew behind the library that shows it, and its children, the
/// test bed's files instead of the system's.  Comes back if that has been done.
void preload(char **arguments)
{
    const char *const variable = std::getenv(preloadVariable);
    const std::string before = variable != nullptr ? variable : "";
    if (before.find(umockdevPreload) != std::string::npos)
        return;
    const std::string wanted =
        std::string(sanitizerRuntime) + umockdevPreload + (before.empty() ? "" : ":") + before;
    setenv(preloadVariable, wanted.c_str(), 1);
    execv("/proc/self/exe", arguments);
}

int run(char **arguments)
{
    sim::Trace trace;
    if (!trace.open())
        return complain("VELMO_SIM_TRACE: the file cannot be opened for writing", exitBadSettings);
    const char *const variable = std::getenv("VELMO_SIM");
    const std::string text = variable != nullptr ? variable : "";
    const auto parsed = sim::Settings::parse(text);
    if (const auto *const fault = std::get_if<std::string>(&parsed))
        return complain("VELMO_SIM: " + *fault, exitBadSettings);
    const auto &settings = std::get<sim::Settings>(parsed);
    if (!settings.failingReads.isEmpty())
        return complain("VELMO_SIM: fail-reads: cannot be done here, where reads that find nothing "
                        "are not seen; use the library that takes the HID library's place",
                        exitBadSettings);
    return sim::Host(&trace, settings, text).run(arguments);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return complain("usage: velmo-sim-umockdev PROGRAM [ARGUMENT...]", exitUsage);
    preload(argv);
    try {
        return run(argv + 1);
    } catch (const std::exception &fault) {
        return complain(fault.what(), exitSystem);
    }
}
