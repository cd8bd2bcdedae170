/// velmo-sim-wine: runs a Windows program under wine with simulated microphones on a
/// simulated bus.  simulator/README.md tells the rest.

#include "simulator/Settings.h"
#include "simulator/Trace.h"
#include "simulator/wine/WineHost.h"
#include "simulator/wine/WinePrefix.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

namespace {

// As sysexits.h has them.
constexpr int exitUsage = 64;
constexpr int exitNoInput = 66;
constexpr int exitBadSettings = 78;

int fail(int code, const std::string &why)
{
    std::fprintf(stderr, "%s\n", why.c_str());
    return code;
}

int run(const std::vector<std::string> &command)
{
    if (command.empty())
        return fail(exitUsage, "usage: velmo-sim-wine PROGRAM.exe [ARGUMENT...]");
    sim::Trace trace;
    if (!trace.open())
        return fail(exitBadSettings, "VELMO_SIM_TRACE: the file cannot be opened for writing");
    const char *const text = std::getenv("VELMO_SIM");
    const std::string settingsText = text != nullptr ? text : "";
    const auto parsed = sim::Settings::parse(settingsText);
    if (const auto *const fault = std::get_if<std::string>(&parsed))
        return fail(exitBadSettings, "VELMO_SIM: " + *fault);
    const auto &settings = std::get<sim::Settings>(parsed);
    const std::string unsupported = sim::WineHost::unsupported(settings);
    if (!unsupported.empty())
        return fail(exitBadSettings, "VELMO_SIM: " + unsupported);
    if (!std::filesystem::is_regular_file(command.front()))
        return fail(exitNoInput, command.front() + ": there is no such file");

    sim::WinePrefix prefix;
    const std::string fault = prefix.prepare();
    if (!fault.empty())
        return fail(exitBadSettings, fault);
    sim::WineHost host(&prefix, &trace, settings, settingsText);
    return host.run(command);
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) { // out of memory
        return fail(sim::WineHost::exitSoftware, std::string("velmo-sim-wine: ") + error.what());
    }
}
