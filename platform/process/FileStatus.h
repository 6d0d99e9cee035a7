#pragma once

#include "platform/base/Fd.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace veltra {

/// Whether others than its owner may write to a file.
[[nodiscard]] inline bool isWritableByOthers(const struct stat& file) noexcept
{
    return (file.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/// Whether the mount through which a file was opened ignores setuid bits, as those do that a user
/// may make; also if that cannot be told.
[[nodiscard]] inline bool isOnNosuidMount(const Fd& file) noexcept
{
    struct statvfs mount {};
    return ::fstatvfs(file.get(), &mount) != 0 || (mount.f_flag & ST_NOSUID) != 0;
}

} // namespace veltra
