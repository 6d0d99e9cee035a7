#pragma once

#include "platform/base/Error.h"

#include <chrono>
#include <string>
#include <vector>

namespace veltra {

/// The names in a folder, in the order in which the file system lists them, without "." and "..".
[[nodiscard]] Result<std::vector<std::string>> contentsOfDirectory(const std::string& path);

/// The time when a file's contents last changed, by the file system's clock. Symbolic links are not
/// followed.
[[nodiscard]] Result<std::chrono::nanoseconds> modificationDate(const std::string& path);

} // namespace veltra
