#include "device/Output.h"

#include "device/OutputChannel.h"

#include <cstdarg>
#include <cstdio>

namespace {

OutputChannel &channelOf(Output::Stream stream)
{
    // Never destroyed, because their threads run until the process ends.
    static auto &standard = *new OutputChannel(Output::Stream::Standard);
    static auto &error = *new OutputChannel(Output::Stream::Error);
    return stream == Output::Stream::Standard ? standard : error;
}

} // namespace

void Output::write(Stream stream, const QByteArray &text)
{
    channelOf(stream).write(text);
}

void Output::print(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (size > 0) {
        QByteArray text(size, '\0');
        // QByteArray has room for the terminating zero.
        std::vsnprintf(text.data(), static_cast<std::size_t>(size) + 1, format, again);
        write(Stream::Standard, text);
    }
    va_end(again);
}

void Output::finish()
{
    channelOf(Stream::Standard).finish();
    channelOf(Stream::Error).finish();
}
