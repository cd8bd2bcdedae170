#include "app/process.h"

#include <QtGlobal>

#include <windows.h>

#include <cstdlib>

void prepareProcess()
{
    // A program without a console sends its debug output to a debugger, which the toolkit
    // does by itself, unless one of the toolkit's variables asks for it on standard error.
    for (const char *variable :
         {"QT_FORCE_STDERR_LOGGING", "QT_ASSUME_STDERR_HAS_CONSOLE", "QT_LOGGING_TO_CONSOLE"}) {
        if (qEnvironmentVariableIntValue(variable) != 0)
            installDebugOutput();
    }
}

void leaveProcess(int code)
{
    // ExitProcess would stop the other threads wherever they are and then run the
    // libraries' clean-up, which may wait for what they held.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    std::abort(); // not reached: ending the own process does not return
}
