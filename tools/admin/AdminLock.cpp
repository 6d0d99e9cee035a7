#include "tools/admin/AdminLock.h"

#include "platform/base/WriteAll.h"
#include "tools/admin/AdminError.h"

#include <array>
#include <cerrno>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace veltra {

namespace {

// The process that wrote its number into the file when it got the lock.
std::string holderOf(const Fd& file)
{
    std::array<char, 16> number{};
    const ssize_t size = ::pread(file.get(), number.data(), number.size(), 0);
    return {number.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

Result<> writeHolder(const Fd& file)
{
    if (::ftruncate(file.get(), 0) != 0 || !writeAll(file.get(), std::to_string(::getpid())))
        return Error::last("write", "the lock file");
    return success;
}

} // namespace

Result<Fd> lockOutOthers(const char* path, std::chrono::milliseconds patience)
{
    // Only root can write to the folder or open the file. The file is never removed: otherwise a
    // later instance could lock a new file while others still wait for the old one.
    Fd file{::open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)};
    const auto end = std::chrono::steady_clock::now() + patience;
    while (file && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        if (std::chrono::steady_clock::now() > end)
            return Error{adminError(AdminError::othersWork), "lock",
                         std::string{path} + ", which process " + holderOf(file) + " holds"};
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
    }
    if (!file)
        return Error::last("open", path);
    if (auto written = writeHolder(file); !written)
        return written.error();
    return file;
}

} // namespace veltra
