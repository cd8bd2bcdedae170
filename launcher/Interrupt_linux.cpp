#include "launcher/Interrupt.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<int> pressed{0};
static_assert(std::atomic<int>::is_always_lock_free, "is written by a signal handler");

} // namespace

void Interrupt::watch()
{
    // SIGTERM and SIGHUP keep their effect: they end this program, and the updater
    // goes on without it.
    const auto before = std::signal(SIGINT, [](int /*signal*/) { ++pressed; });
    if (before == SIG_IGN) // as a shell does for what it starts in the background
        std::signal(SIGINT, SIG_IGN);
    // A reader of our output that goes away must not cost the exit code.
    std::signal(SIGPIPE, SIG_IGN);
}

int Interrupt::count()
{
    return pressed;
}
