#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <string>
#include <variant>

namespace veltra {

/// A log that nobody else sees and that is gone with the program.
class PrivateLog {
  public:
    /// An empty log: an unnamed file in the folder for temporary files.
    [[nodiscard]] static Result<PrivateLog> create();

    /// Appends the bytes of the file at `path`, whatever kind of file it is but a folder.
    [[nodiscard]] Result<> appendFile(const std::string& path);

    /// A path by which this process can open the log.
    [[nodiscard]] std::string path() const;

  private:
    explicit PrivateLog(Fd file) : file_{std::move(file)} {}

    Fd file_;
};

} // namespace veltra
