#include "app/DesktopCopy.h"

#include "app/RegularFile.h"
#include "platform/base/ReplacementFile.h"
#include "platform/base/WriteAll.h"
#include "platform/desktop/FileName.h"

#include <algorithm>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr std::size_t blockSize = std::size_t{1} << 20;

std::size_t sizeOf(const Fd& file)
{
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

// What the user's new files get.
mode_t usualPermissions()
{
    const mode_t mask = ::umask(077);
    ::umask(mask);
    return 0666 & ~mask;
}

Result<DesktopCopy> copyInto(int target, const Fd& source, const std::string& targetPath)
{
    std::vector<char> block(blockSize);
    for (std::size_t left = sizeOf(source); left > 0;) {
        const ssize_t size = ::read(source.get(), block.data(), std::min(left, blockSize));
        if (size < 0)
            return DesktopCopy{.unread = Error::last("read the log for", targetPath)};
        if (size == 0) // It was truncated meanwhile.
            break;
        if (!writeAll(target, {block.data(), static_cast<std::size_t>(size)}))
            return Error::last("write", targetPath);
        left -= static_cast<std::size_t>(size);
    }
    return DesktopCopy{};
}

} // namespace

Result<DesktopCopy> copyReplacing(const QString& source, const QString& target)
{
    const std::string path = bytesOfPath(target);
    auto file = ReplacementFile::createBeside(path);
    if (!file)
        return file.error();

    const auto log = openRegularFile(source);
    auto copy = log ? copyInto(file.value().descriptor(), log.value(), path)
                    : Result<DesktopCopy>{DesktopCopy{.unread = log.error()}};
    if (!copy)
        return copy;

    struct stat status {};
    status.st_mode = usualPermissions();
    status.st_uid = ::geteuid();
    status.st_gid = ::getegid();
    if (const auto replaced = file.value().replace(status); !replaced)
        return replaced.error();

    return copy;
}

} // namespace veltra
