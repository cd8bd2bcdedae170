#include "launcher/Interrupt.h"

#include <windows.h>

#include <atomic>

namespace {

/// Written by a thread that the system makes for each event.
std::atomic<int> pressed{0};

BOOL WINAPI takeEvent(DWORD event)
{
    // A closed console ends this program, and the updater goes on without it.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE;
    ++pressed;
    return TRUE;
}

} // namespace

void Interrupt::watch()
{
    SetConsoleCtrlHandler(&takeEvent, TRUE);
}

int Interrupt::count()
{
    return pressed;
}
