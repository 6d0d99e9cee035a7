#include "platform/kqueue/VnodeState.h"

#include "platform/base/ProcPath.h"

#include <array>
#include <climits>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

std::int64_t nanoseconds(const timespec& time) noexcept
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

std::string pathOf(int descriptor)
{
    const std::string link = descriptorPath(descriptor);
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());

    return length > 0 ? std::string{path.data(), static_cast<std::size_t>(length)} : std::string{};
}

// The kernel appends this to the name of an unlinked file; the name itself did not change.
std::string_view withoutDeletionMark(std::string_view name) noexcept
{
    constexpr std::string_view mark = " (deleted)";
    if (name.ends_with(mark))
        name.remove_suffix(mark.size());
    return name;
}

} // namespace

Result<VnodeState> VnodeState::of(int descriptor)
{
    struct stat status {};
    if (fstat(descriptor, &status) < 0)
        return Error::last("look at descriptor", std::to_string(descriptor));

    VnodeState state;
    state.isFolder = S_ISDIR(status.st_mode);
    state.size = status.st_size;
    state.linkCount = status.st_nlink;
    state.mode = status.st_mode;
    state.owner = status.st_uid;
    state.group = status.st_gid;
    state.contentTime = nanoseconds(status.st_mtim);
    state.statusTime = nanoseconds(status.st_ctim);
    return state;
}

VnodeState::Name VnodeState::nameOf(int descriptor)
{
    const std::string path = pathOf(descriptor);
    const auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return {};

    Name name;
    name.base = withoutDeletionMark(std::string_view{path}.substr(slash + 1));
    struct stat parent {};
    if (stat(path.substr(0, slash + 1).c_str(), &parent) == 0) {
        name.parentDevice = parent.st_dev;
        name.parentInode = parent.st_ino;
    }
    return name;
}

} // namespace veltra
