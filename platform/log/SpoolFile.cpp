#include "platform/log/SpoolFile.h"

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

// Read here, because the environment may change while other threads run.
SpoolFile::SpoolFile()
{
    if (const char* folder = ::secure_getenv("TMPDIR"))
        folder_ = folder;
}

bool SpoolFile::open()
{
    for (const char* folder : std::array{folder_.c_str(), "/var/tmp", "/tmp"})
        if (!file_)
            file_ = Fd{::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)};
    return static_cast<bool>(file_);
}

bool SpoolFile::write(std::string_view bytes, std::uint64_t offset) const
{
    while (!bytes.empty()) {
        const ssize_t count =
            ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;

        bytes.remove_prefix(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

bool SpoolFile::append(std::span<const std::string_view> pieces)
{
    if (!file_ && !open())
        return false;

    std::uint64_t end = waiting_.end;
    for (std::string_view piece : pieces) {
        if (!write(piece, end)) {
            cut(waiting_.end);
            return false;
        }
        end += piece.size();
    }
    waiting_.end = end;
    return true;
}

bool SpoolFile::read(std::uint64_t offset, std::span<char> bytes) const
{
    while (!bytes.empty()) {
        const ssize_t count =
            ::pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count == 0)
            errno = ENODATA;
        if (count <= 0)
            return false;

        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

void SpoolFile::drop(std::uint64_t count)
{
    waiting_.begin += count;
    if (!isEmpty()) {
        // On a file system without holes, the space is only freed later.
        ::fallocate(file_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0,
                    static_cast<off_t>(waiting_.begin));
        return;
    }
    waiting_ = {};
    cut(0);
}

void SpoolFile::cut(std::uint64_t size) const
{
    // If truncating fails, the bytes are overwritten later.
    [[maybe_unused]] const int result = ::ftruncate(file_.get(), static_cast<off_t>(size));
}

} // namespace veltra
