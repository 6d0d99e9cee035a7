#include "platform/base/Folder.h"

#include <memory>
#include <string_view>

#include <dirent.h>
#include <sys/stat.h>

namespace veltra {

namespace {

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

// The system would end such a path at the NUL and use a different file.
bool holdsNul(const std::string& path)
{
    return path.find('\0') != std::string::npos;
}

bool isEntry(std::string_view name)
{
    return name != "." && name != "..";
}

} // namespace

Result<std::vector<std::string>> contentsOfDirectory(const std::string& path)
{
    constexpr std::string_view action = "list folder";
    if (holdsNul(path))
        return Error{std::make_error_code(std::errc::invalid_argument), action, path};

    const std::unique_ptr<DIR, CloseFolder> folder{::opendir(path.c_str())};
    if (!folder)
        return Error::last(action, path);

    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string_view name{static_cast<const char*>(entry->d_name)};
        if (isEntry(name))
            names.emplace_back(name);
        errno = 0;
    }
    if (errno != 0)
        return Error::last(action, path);

    return names;
}

Result<std::chrono::nanoseconds> modificationDate(const std::string& path)
{
    constexpr std::string_view action = "read modification date of";
    if (holdsNul(path))
        return Error{std::make_error_code(std::errc::invalid_argument), action, path};

    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return Error::last(action, path);

    return std::chrono::seconds{status.st_mtim.tv_sec} +
           std::chrono::nanoseconds{status.st_mtim.tv_nsec};
}

} // namespace veltra
