#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <sys/stat.h>

namespace veltra {

/// A new file beside another one, which takes the other's place at one blow, or goes with the
/// object.
class ReplacementFile {
  public:
    /// Makes an empty file, readable to its owner alone, in the folder of `path`. Its name starts
    /// with a dot and has another ending: nobody takes it for what it is to become.
    [[nodiscard]] static Result<ReplacementFile> createBeside(const std::string& path);

    /// Removes what programs that were killed have left of such files for `path`. None may be in
    /// use.
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

    /// Gives the file the owner and the permissions in `status`, writes it to disk and puts it in
    /// the other's place.
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
