#pragma once

#include <sys/stat.h>

namespace veltra {

/// Whether two statuses belong to the same file.
[[nodiscard]] inline bool isSameFile(const struct stat& one, const struct stat& other) noexcept
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace veltra
