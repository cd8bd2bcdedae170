#include "launcher/Terminal.h"

#include <windows.h>

#include <atomic>

namespace {

/// Written by the thread that the system creates for each event.
std::atomic<bool> pressed{false};

BOOL WINAPI onConsoleEvent(DWORD event)
{
    // A closed console ends this program. The updater goes on without it.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE;
    pressed = true;
    return TRUE;
}

} // namespace

int Terminal::columns(std::FILE *stream)
{
    HANDLE const handle = GetStdHandle(stream == stdout ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode) == 0)
        return 0;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(handle, &info) == 0)
        return defaultColumns;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

void Terminal::ignoreBrokenPipes()
{
    // Windows has no signal for this: such a write only fails.
}

void Terminal::catchInterrupts()
{
    SetConsoleCtrlHandler(&onConsoleEvent, TRUE);
}

bool Terminal::takeInterrupt()
{
    return pressed.exchange(false);
}

void Terminal::leave()
{
    // Nothing to do for a program without a console.
}
