#include "app/outputRoom_linux.h"

#include <poll.h>

bool hasOutputRoom(int descriptor)
{
    pollfd output{descriptor, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0;
}
