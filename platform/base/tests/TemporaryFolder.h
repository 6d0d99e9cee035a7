#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <string>
#include <string_view>
#include <system_error>

namespace veltra {

/// A test's own folder, under $TMPDIR or else /tmp. It is removed with its contents when the object
/// is destroyed, even if permissions were removed meanwhile. Throws on any failure.
class TemporaryFolder {
  public:
    TemporaryFolder() : path_{make()} {}
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { remove(path_); }

    /// An absolute path without a slash at the end.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

    /// The path of `name` in the folder; nothing is created.
    [[nodiscard]] std::string file(std::string_view name) const
    {
        return path_ + "/" + std::string{name};
    }

    /// Creates the file, or replaces its content.
    void write(std::string_view name, std::string_view bytes) const
    {
        put(name, bytes, std::ios::trunc);
    }

    void append(std::string_view name, std::string_view bytes) const
    {
        put(name, bytes, std::ios::app);
    }

  private:
    static std::string make()
    {
        const char* parent = std::getenv("TMPDIR");
        auto path = std::string{parent && *parent == '/' ? parent : "/tmp"} + "/veltra.XXXXXX";
        if (!mkdtemp(path.data()))
            throw std::system_error{errno, std::generic_category(), path};

        return path;
    }

    void put(std::string_view name, std::string_view bytes, std::ios::openmode mode) const
    {
        std::ofstream stream{file(name), std::ios::binary | std::ios::out | mode};
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        stream.close();
        if (!stream)
            throw std::system_error{errno, std::generic_category(), file(name)};
    }

    // Folders are made accessible one by one before the walk enters them; links are not followed.
    static void remove(const std::string& path) noexcept
    {
        namespace fs = std::filesystem;
        std::error_code ignored;
        fs::permissions(path, fs::perms::owner_all, ignored);
        for (fs::recursive_directory_iterator entry{path, ignored}, end; entry != end;
             entry.increment(ignored)) {
            if (fs::is_directory(entry->symlink_status(ignored)))
                fs::permissions(entry->path(), fs::perms::owner_all, ignored);
        }
        fs::remove_all(path, ignored);
    }

    std::string path_;
};

} // namespace veltra
