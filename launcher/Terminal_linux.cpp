#include "launcher/Terminal.h"

#include <atomic>
#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::atomic<bool> pressed{false};
static_assert(std::atomic<bool>::is_always_lock_free, "written by a signal handler");

} // namespace

int Terminal::columns(std::FILE *stream)
{
    const int descriptor = fileno(stream);
    if (isatty(descriptor) != 1)
        return 0;
    winsize size{};
    const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : defaultColumns;
}

void Terminal::ignoreBrokenPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

void Terminal::catchInterrupts()
{
    // SIGTERM and SIGHUP still end this program. The updater goes on without it.
    const auto before = std::signal(SIGINT, [](int /*signal*/) { pressed = true; });
    if (before == SIG_IGN) // a shell has started this program in the background
        std::signal(SIGINT, SIG_IGN);
}

bool Terminal::takeInterrupt()
{
    return pressed.exchange(false);
}

void Terminal::leave()
{
    setsid();
}
