#include "platform/log/SpoolFile.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

Result<SpoolFile> SpoolFile::create(const std::string& folder)
{
    Fd file{::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)};
    if (!file)
        return Error::last("make a temporary file in", folder);

    return SpoolFile{std::move(file)};
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

Result<> SpoolFile::append(std::span<const std::string_view> pieces)
{
    std::uint64_t end = waiting_.end;
    for (const std::string_view piece : pieces) {
        if (!write(piece, end)) {
            auto error = Error::last("write to a temporary file");
            // If truncating fails, the bytes are overwritten later.
            [[maybe_unused]] const int result =
                ::ftruncate(file_.get(), static_cast<off_t>(waiting_.end));
            return error;
        }
        end += piece.size();
    }
    waiting_.end = end;
    return success;
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
    // On a file system without holes, the space is only freed with the file.
    ::fallocate(file_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0,
                static_cast<off_t>(waiting_.begin));
}

} // namespace veltra
