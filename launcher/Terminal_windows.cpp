#include "launcher/Terminal.h"

#include <windows.h>

bool Terminal::isThere()
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

int Terminal::columns()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0)
        return usualColumns;
    return info.srWindow.Right - info.srWindow.Left + 1;
}
