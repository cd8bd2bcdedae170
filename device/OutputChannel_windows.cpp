#include "device/OutputChannel.h"

#include <windows.h>

namespace {

constexpr DWORD fullPipePauseMs = 10;

/// Null or invalid if the process was started without the stream.
HANDLE handleOf(Output::Stream stream)
{
    return GetStdHandle(stream == Output::Stream::Standard ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

} // namespace

bool OutputChannel::mayBlock(Output::Stream stream)
{
    return GetFileType(handleOf(stream)) != FILE_TYPE_DISK;
}

bool OutputChannel::writeNow(Output::Stream stream, const QByteArray &text)
{
    // Like the C library's text mode.
    const QByteArray lines = QByteArray(text).replace("\n", "\r\n");
    for (int begin = 0; begin < lines.size();) {
        DWORD count = 0;
        if (WriteFile(handleOf(stream), lines.constData() + begin,
                      static_cast<DWORD>(lines.size() - begin), &count, nullptr) == 0)
            return false;
        begin += static_cast<int>(count);
        // A full non-blocking pipe takes nothing.
        if (count == 0)
            Sleep(fullPipePauseMs);
    }
    return true;
}
