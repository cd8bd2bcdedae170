#include "device/OutputChannel.h"

#include <cerrno>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int descriptorOf(Output::Stream stream)
{
    return stream == Output::Stream::Standard ? STDOUT_FILENO : STDERR_FILENO;
}

} // namespace

bool OutputChannel::mayBlock(Output::Stream stream)
{
    struct stat status
    {
    };
    return fstat(descriptorOf(stream), &status) == 0 && !S_ISREG(status.st_mode);
}

bool OutputChannel::writeNow(Output::Stream stream, const QByteArray &text)
{
    for (int begin = 0; begin < text.size();) {
        const ssize_t count = ::write(descriptorOf(stream), text.constData() + begin,
                                      static_cast<std::size_t>(text.size() - begin));
        if (count >= 0) {
            begin += static_cast<int>(count);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            // Another program that shares the stream has made it non-blocking.
            pollfd output{descriptorOf(stream), POLLOUT, 0};
            poll(&output, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}
