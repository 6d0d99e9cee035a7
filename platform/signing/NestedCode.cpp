#include "platform/signing/NestedCode.h"

#include "platform/base/FileIdentity.h"
#include "platform/base/ProcPath.h"
#include "platform/bundle/PropertyList.h"
#include "platform/signing/AppendedSignature.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view mainFolder = "Contents/Linux";
constexpr std::array codeFolders{mainFolder, std::string_view{"Contents/Library/LaunchServices"}};
constexpr int mostEntries = 64;

fs::path pathOf(int descriptor)
{
    std::error_code failure;
    fs::path path = fs::read_symlink(descriptorPath(descriptor), failure);
    return failure ? fs::path{} : path;
}

bool isBundle(const fs::path& path)
{
    return path.extension() == ".app";
}

std::optional<fs::path> bundleAround(const fs::path& executable)
{
    const fs::path folder = executable.parent_path();
    for (const fs::path codeFolder : codeFolders) {
        fs::path bundle = folder;
        for (auto part = codeFolder.begin(); part != codeFolder.end(); ++part)
            bundle = bundle.parent_path();
        if (isBundle(bundle) && bundle / codeFolder == folder)
            return bundle;
    }
    return std::nullopt;
}

bool isElf(int file)
{
    constexpr std::string_view magic = "\x7F"
                                       "ELF";
    std::array<char, 4> bytes{};
    return ::pread(file, bytes.data(), bytes.size(), 0) == ssize_t{4} &&
           std::string_view{bytes.data(), bytes.size()} == magic;
}

// Opens only a handle first, to avoid the side effects of opening a device or a named pipe.
// `status` is not changed if the path cannot be examined.
Fd openRegular(const fs::path& path, struct stat& status)
{
    const Fd handle{::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)};
    if (!handle || ::fstat(handle.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return Fd{};

    return Fd{::open(descriptorPath(handle.get()).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
}

/// Finds a bundle's executables.
class NestedCodeSearch {
  public:
    explicit NestedCodeSearch(const struct stat& self) : self_{self} {}

    /// Returns false if something may have been missed.
    bool addFolder(const fs::path& folder)
    {
        std::error_code failure;
        fs::directory_iterator entry{folder, failure};
        if (failure == std::errc::no_such_file_or_directory)
            return true;
        for (; !failure && entry != fs::directory_iterator{}; entry.increment(failure))
            if (!addEntry(entry->path()))
                return false;
        return !failure;
    }

    [[nodiscard]] bool hasSeenSelf() const noexcept { return hasSeenSelf_; }
    [[nodiscard]] std::vector<Fd> takeFound() { return std::move(found_); }

  private:
    bool addEntry(const fs::path& path)
    {
        struct stat status {};
        Fd file = openRegular(path, status);
        if (status.st_mode == 0 || ++entries_ > mostEntries)
            return false;
        if (isSameFile(status, self_)) {
            hasSeenSelf_ = true;
            return true;
        }
        if (!S_ISREG(status.st_mode) || !(status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)))
            return true;
        return file && (!isElf(file.get()) || addExecutable(std::move(file), status));
    }

    // All of the file will be read, whoever put it there, so the total size is limited.
    bool addExecutable(Fd file, const struct stat& status)
    {
        bytes_ += static_cast<std::uint64_t>(status.st_size);
        found_.push_back(std::move(file));
        return bytes_ <= AppendedSignature::largestFile;
    }

    struct stat self_;
    std::vector<Fd> found_;
    std::uint64_t bytes_ = 0;
    int entries_ = 0;
    bool hasSeenSelf_ = false;
};

// Whether it is a single file name, which cannot lead out of the folder.
bool isPlainName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view{"/\0", 2}) == std::string::npos;
}

} // namespace

SecOutcome<std::vector<Fd>> openNestedCode(int executable)
{
    const auto bundle = bundleAround(pathOf(executable));
    if (!bundle)
        return {};
    struct stat self {};
    if (::fstat(executable, &self) != 0)
        return {errSecCSNestedCodeInvalid, {}};

    NestedCodeSearch search{self};
    for (const std::string_view folder : codeFolders)
        if (!search.addFolder(*bundle / folder))
            return {errSecCSNestedCodeInvalid, {}};
    if (!search.hasSeenSelf())
        return {errSecCSCodeDeleted, {}};
    return {errSecSuccess, search.takeFound()};
}

SecOutcome<Fd> openMainExecutable(int bundle)
{
    const fs::path path = pathOf(bundle);
    if (!isBundle(path))
        return {errSecCSNoStaticCode, {}};
    const auto information = PropertyList::read(path / "Contents/Info.plist");
    const auto name =
        information ? information.value().text("CFBundleExecutable") : std::optional<std::string>{};
    if (!name || !isPlainName(*name))
        return {errSecCSBundleMalformed, {}};

    struct stat status {};
    Fd file = openRegular(path / mainFolder / *name, status);
    if (!S_ISREG(status.st_mode))
        return {errSecCSBundleMalformed, {}};
    if (!file)
        return {errSecCSCodeUnreadable, {}};
    return {errSecSuccess, std::move(file)};
}

} // namespace veltra
