/// velmo-simbridge.exe: installs the simulated bus and carries reports to and from it.

#include "simulator/windows/Bridge.h"
#include "simulator/windows/Installer.h"

#include <cstdio>
#include <string>
#include <string_view>

#include <windows.h>

namespace {

constexpr int exitUsage = 64; // as sysexits.h has it

/// Ends with a line about what went wrong, if something did.
int finish(const std::string &fault)
{
    if (!fault.empty())
        std::printf("%s\n", fault.c_str());
    return fault.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string_view what = argc == 2 ? argv[1] : "";
    if (what == "install") {
        // The desktop's process is started by the first who asks, and keeps what that
        // one's output goes to.
        GetDesktopWindow();
        return finish(sim::Installer::install());
    }
    if (what == "remove")
        return finish(sim::Installer::remove());
    if (what == "bridge") {
        sim::Bridge bridge;
        const std::string fault = bridge.run();
        return finish(fault.empty() ? fault : "FAILED " + fault);
    }
    std::fprintf(stderr, "usage: velmo-simbridge install | remove | bridge\n");
    return exitUsage;
}
