#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <sys/stat.h>

namespace veltra {

/// A new file in the same folder as another one, which it can replace atomically. It is removed
/// with this object if it has not replaced the other file.
class ReplacementFile {
  public:
    /// Creates an empty file, readable only by its owner, in the folder of `path`. Its name starts
    /// with a dot and has a different ending, so that nothing mistakes it for the finished file.
    [[nodiscard]] static Result<ReplacementFile> createBeside(const std::string& path);

    /// Removes such files for `path` that killed programs have left behind. None may be in use.
    [[nodiscard]] static Result<> removeLeftOvers(const std::string& path);

    ReplacementFile(ReplacementFile&& other) noexcept
        : path_{std::move(other.path_)}, ownPath_{std::exchange(other.ownPath_, {})},
          file_{std::move(other.file_)}
    {
    }
    ReplacementFile& operator=(ReplacementFile&&) = delete;
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;
    ~ReplacementFile();

    /// Open for reading and writing.
    [[nodiscard]] int descriptor() const noexcept { return file_.get(); }

    /// Gives the file the owner and the permissions in `status`, writes it to disk and moves it to
    /// the path of the file that it replaces.
    [[nodiscard]] Result<> replace(const struct stat& status);

  private:
    ReplacementFile(std::string path, std::string ownPath, Fd file) noexcept
        : path_{std::move(path)}, ownPath_{std::move(ownPath)}, file_{std::move(file)}
    {
    }

    std::string path_;
    std::string ownPath_;
    Fd file_;
};

} // namespace veltra
