#include "app/leaveProcess.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>

void leaveProcess(int code)
{
    std::fflush(stdout);
    std::fflush(stderr);
    // ExitProcess would stop the other threads wherever they are and then run the
    // libraries' clean-up, which may wait for what they held.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    std::abort(); // not reached: ending the own process does not return
}
