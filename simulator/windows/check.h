#pragma once

#include <stdexcept>
#include <string>

#include <windows.h>

namespace sim {

/// Throws a sentence for an error code of Windows.
inline void check(DWORD error, const char *what)
{
    if (error != ERROR_SUCCESS)
        throw std::runtime_error(std::string(what) + ": Windows' error " + std::to_string(error));
}

/// The same for a call that keeps its error code for GetLastError().
inline void check(BOOL ok, const char *what)
{
    check(ok ? DWORD{ERROR_SUCCESS} : GetLastError(), what);
}

} // namespace sim
