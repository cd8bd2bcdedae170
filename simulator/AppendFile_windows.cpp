#include "simulator/AppendFile.h"

#include <cstdint>
#include <vector>

#include <windows.h>

namespace sim {

namespace {

HANDLE asHandle(long long number)
{
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(number));
}

} // namespace

AppendFile::~AppendFile()
{
    if (isOpen())
        CloseHandle(asHandle(handle));
}

bool AppendFile::openNamedBy(const char *variable)
{
    const std::wstring name(variable, variable + std::char_traits<char>::length(variable));
    const DWORD size = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    if (size <= 1)
        return true;
    std::vector<wchar_t> path(size);
    GetEnvironmentVariableW(name.c_str(), path.data(), size);
    const HANDLE opened =
        CreateFileW(path.data(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    // INVALID_HANDLE_VALUE is -1 as a number.
    handle = reinterpret_cast<std::intptr_t>(opened);
    return isOpen();
}

void AppendFile::append(const std::string &line) const
{
    DWORD written = 0;
    WriteFile(asHandle(handle), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

} // namespace sim
