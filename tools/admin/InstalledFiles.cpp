#include "tools/admin/InstalledFiles.h"

#include "platform/base/Fd.h"
#include "platform/base/WriteAll.h"

#include <cerrno>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

namespace fs = std::filesystem;

// Older systems gave these two folders to the group staff. Its members can become root there
// anyway, because root's own programs are looked for in these folders first.
bool isStaffs(const fs::path& folder, const struct stat& status)
{
    constexpr gid_t staff = 50;
    return status.st_gid == staff && (folder == "/usr/local" || folder == "/usr/local/share");
}

bool isRootsAlone(const fs::path& folder, const struct stat& status)
{
    const mode_t others = isStaffs(folder, status) ? S_IWOTH : S_IWGRP | S_IWOTH;
    return status.st_uid == 0 && (status.st_mode & others) == 0;
}

// The permissions are set from the start, because nobody would add them later. In a folder with the
// set-group-ID bit, a new folder gets that bit and the group.
bool makeFolder(const Fd& parent, const fs::path& name)
{
    if (::mkdirat(parent.get(), name.c_str(), 0755) != 0)
        return errno == EEXIST;
    const Fd folder{
        ::openat(parent.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    return folder && ::fchown(folder.get(), 0, 0) == 0 && ::fchmod(folder.get(), 0755) == 0 &&
           ::fsync(parent.get()) == 0;
}

Result<> prepareFolder(const fs::path& path)
{
    fs::path walked = "/";
    Fd folder{::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    for (const fs::path& name : path.relative_path()) {
        walked /= name;
        if (!makeFolder(folder, name))
            return Error::last("make the folder", walked.native());
        // A link could lead to a place where others may write.
        folder = Fd{
            ::openat(folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
        struct stat status {};
        if (!folder || ::fstat(folder.get(), &status) != 0)
            return Error::last("open the folder", walked.native());
        if (!isRootsAlone(walked, status))
            return Error{adminError(AdminError::folderOfOthers), "use the folder", walked.native()};
    }
    return success;
}

} // namespace

Result<> prepareFolderOf(const std::string& path)
{
    return inOrder({[&] { return prepareFolder(fs::path{path}.parent_path()); },
                    [&] { return ReplacementFile::removeLeftOvers(path); }});
}

Result<> putInPlace(ReplacementFile file, mode_t permissions)
{
    struct stat roots {};
    roots.st_mode = permissions;
    return file.replace(roots);
}

Result<> installText(const std::string& path, std::string_view text)
{
    auto file = ReplacementFile::createBeside(path);
    if (!file)
        return file.error();
    if (!writeAll(file.value().descriptor(), text))
        return Error::last("write", path);

    return putInPlace(std::move(file.value()), 0644);
}

Result<> removeInstalled(const std::string& path)
{
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
        return Error::last("remove", path);
    return ReplacementFile::removeLeftOvers(path);
}

} // namespace veltra
