#pragma once

#include "platform/base/Error.h"

#include <chrono>
#include <string>
#include <vector>

namespace veltra {

/// The names in a folder, in the order in which the file system lists them, without "." and
/// "..". Names that are not valid UTF-8 are left out: no text of the program can hold them.
[[nodiscard]] Result<std::vector<std::string>> contentsOfDirectory(const std::string& path);

/// When the contents of a file were last changed, by the file system's clock. A symbolic link is
/// not followed.
[[nodiscard]] Result<std::chrono::nanoseconds> modificationDate(const std::string& path);

} // namespace veltra
