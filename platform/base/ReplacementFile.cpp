#include "platform/base/ReplacementFile.h"

#include "platform/base/Folder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view anyLetters = "XXXXXX";

// How our file names for `path` start; some random letters follow.
std::string startOfNames(const fs::path& path)
{
    return "." + path.filename().native() + ".new-";
}

// Syncing the folder writes the new name to disk.
bool writeFolderToDisk(const std::string& path)
{
    const auto parent = fs::path{path}.parent_path();
    const Fd folder{
        ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    return folder && ::fsync(folder.get()) == 0;
}

} // namespace

Result<ReplacementFile> ReplacementFile::createBeside(const std::string& path)
{
    std::string ownPath =
        fs::path{path}.replace_filename(startOfNames(path) + std::string{anyLetters});
    Fd file{::mkostemp(ownPath.data(), O_CLOEXEC)};
    if (!file)
        return Error::last("make a file beside", path);

    return ReplacementFile{path, std::move(ownPath), std::move(file)};
}

Result<> ReplacementFile::removeLeftOvers(const std::string& path)
{
    const std::string start = startOfNames(path);
    const auto names = contentsOfDirectory(fs::path{path}.parent_path());
    if (!names && names.error().code() == std::errc::no_such_file_or_directory)
        return success;
    if (!names)
        return names.error();

    for (const std::string& name : names.value())
        if (name.starts_with(start) && name.size() == start.size() + anyLetters.size() &&
            ::unlink(fs::path{path}.replace_filename(name).c_str()) != 0)
            return Error::last("remove what is left of", path);
    return success;
}

ReplacementFile::~ReplacementFile()
{
    if (!ownPath_.empty())
        ::unlink(ownPath_.c_str());
}

Result<> ReplacementFile::replace(const struct stat& status)
{
    // Changing the owner clears the set-user-ID bit, so the permissions are set afterwards.
    if (::fchown(file_.get(), status.st_uid, status.st_gid) != 0 ||
        ::fchmod(file_.get(), status.st_mode & 07777) != 0 || ::fsync(file_.get()) != 0 ||
        ::rename(ownPath_.c_str(), path_.c_str()) != 0)
        return Error::last("replace", path_);

    ownPath_.clear();
    if (!writeFolderToDisk(path_))
        return Error::last("write to disk the folder of", path_);
    return success;
}

} // namespace veltra
