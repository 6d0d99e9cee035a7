#include "platform/kqueue/InotifyInstance.h"

#include "platform/base/ProcPath.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>

#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace veltra {

namespace {

using Handler = std::function<void(const InotifyInstance::Record&)>;

const std::string watchLimit = " (the limit is fs.inotify.max_user_watches)";

// Either the user's instances or this process's descriptors are used up.
std::string nameOfUsedUpLimit()
{
    const int error = errno;
    const bool hasDescriptors = static_cast<bool>(Fd{::dup(STDERR_FILENO)});
    errno = error;
    return error == EMFILE && hasDescriptors ? "(the limit is fs.inotify.max_user_instances)" : "";
}

// The kernel writes complete records only.
void parse(std::span<const char> bytes, const Handler& handle)
{
    while (bytes.size() >= sizeof(inotify_event)) {
        inotify_event event{};
        std::memcpy(&event, bytes.data(), sizeof event);
        handle({.wd = event.wd, .mask = event.mask, .hasName = event.len > 0});
        bytes = bytes.subspan(sizeof event + event.len);
    }
}

} // namespace

Result<InotifyInstance> InotifyInstance::open()
{
    Fd descriptor{inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    if (!descriptor)
        return Error::last("make inotify instance", nameOfUsedUpLimit());

    return InotifyInstance{std::move(descriptor)};
}

Result<int> InotifyInstance::add(int descriptor, std::uint32_t mask)
{
    const std::string link = descriptorPath(descriptor);
    const int wd = inotify_add_watch(descriptor_.get(), link.c_str(), mask | IN_MASK_ADD);
    if (wd < 0 && errno == ENOSPC)
        return Error::last("watch descriptor", std::to_string(descriptor) + watchLimit);
    if (wd < 0)
        return Error::last("watch descriptor", std::to_string(descriptor));

    return wd;
}

void InotifyInstance::remove(int wd) noexcept
{
    inotify_rm_watch(descriptor_.get(), wd);
}

bool InotifyInstance::drain(const Handler& handle)
{
    int queued = 0;
    if (ioctl(descriptor_.get(), FIONREAD, &queued) < 0)
        return false;

    std::array<char, 65536> buffer{};
    while (queued > 0) {
        const ssize_t length = read(descriptor_.get(), buffer.data(), buffer.size());
        if (length < 0 && errno == EINTR)
            continue;
        if (length <= 0)
            return length < 0 && errno == EAGAIN;

        parse({buffer.data(), static_cast<std::size_t>(length)}, handle);
        queued -= static_cast<int>(length);
    }
    return true;
}

} // namespace veltra
