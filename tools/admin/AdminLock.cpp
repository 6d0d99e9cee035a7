#include "tools/admin/AdminLock.h"

#include <fcntl.h>
#include <sys/file.h>

namespace veltra {

Result<Fd> lockOutOthers()
{
    // Only root can write to the folder or open the file. The file is never removed: otherwise a
    // later instance could lock a new file while others still wait for the old one.
    constexpr const char* path = "/run/veltra-admin-tool.lock";
    Fd file{::open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!file || ::flock(file.get(), LOCK_EX) != 0)
        return Error::last("lock", path);
    return file;
}

} // namespace veltra
