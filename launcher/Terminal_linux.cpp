#include "launcher/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

bool Terminal::isThere()
{
    return isatty(STDOUT_FILENO) == 1;
}

int Terminal::columns()
{
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : usualColumns;
}
