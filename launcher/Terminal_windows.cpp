#include "launcher/Terminal.h"

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

int Terminal::columns(std::FILE *stream)
{
    HANDLE const handle = GetStdHandle(stream == stdout ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode) == 0)
        return 0;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(handle, &info) == 0)
        return usualColumns;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

void Terminal::outliveReaders()
{
    // A write into a pipe without a reader only fails here.
}

void Terminal::watchInterrupts()
{
    SetConsoleCtrlHandler(&takeEvent, TRUE);
}

int Terminal::interrupts()
{
    return pressed;
}
