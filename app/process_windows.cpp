#include "app/process.h"

#include <QtGlobal>

#include <windows.h>

#include <cstdlib>

void prepareProcess()
{
    // A program without a console sends its debug output to a debugger, which the toolkit
    // does by itself, unless somebody asks for it on standard error.
    if (qEnvironmentVariableIntValue("QT_FORCE_STDERR_LOGGING") != 0)
        installDebugOutput();
}

void leaveProcess(int code)
{
    // ExitProcess would stop the other threads wherever they are and then run the
    // libraries' clean-up, which may wait for what they held.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    std::abort(); // not reached: ending the own process does not return
}
