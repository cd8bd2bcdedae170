#include "simulator/umockdev/HostInbox.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace sim {

HostInbox::HostInbox()
    : wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wake.isOpen())
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

void HostInbox::put(HostRequest request)
{
    const std::lock_guard<std::mutex> lock(mutex);
    requests.push_back(std::move(request));
    // Fails only when the count is at its limit, and is readable then.
    eventfd_write(wake.get(), 1);
}

std::vector<HostRequest> HostInbox::takeAll()
{
    const std::lock_guard<std::mutex> lock(mutex);
    eventfd_t count = 0;
    eventfd_read(wake.get(), &count);
    return std::exchange(requests, {});
}

} // namespace sim
