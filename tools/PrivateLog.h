#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <string>
#include <variant>

namespace veltra {

/// A log that only this program can see and that disappears with it.
class PrivateLog {
  public:
    /// An empty log: an unnamed file in the folder for temporary files.
    [[nodiscard]] static Result<PrivateLog> create();

    /// Appends the bytes of the file at `path`, which may be any kind of file except a folder.
    [[nodiscard]] Result<> appendFile(const std::string& path);

    /// A path through which this process can open the log.
    [[nodiscard]] std::string path() const;

  private:
    explicit PrivateLog(Fd file) : file_{std::move(file)} {}

    Fd file_;
};

} // namespace veltra
