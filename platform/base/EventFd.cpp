#include "platform/base/EventFd.h"

#include <sys/eventfd.h>

namespace veltra {

Result<EventFd> EventFd::open()
{
    Fd descriptor{eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
    if (!descriptor)
        return Error::last("make event descriptor");

    return EventFd{std::move(descriptor)};
}

// Both calls fail only if nothing needs to be done: the counter is full, or empty.
void EventFd::signal() noexcept
{
    eventfd_write(descriptor_.get(), 1);
}

void EventFd::clear() noexcept
{
    eventfd_t count = 0;
    eventfd_read(descriptor_.get(), &count);
}

} // namespace veltra
