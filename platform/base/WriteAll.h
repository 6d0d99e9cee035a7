#pragma once

#include <string_view>

namespace veltra {

/// Writes all of `bytes` to a file in blocking mode; continues after signals and short writes.
/// Returns false on failure, with the reason in errno; some bytes may have been written by then.
/// See write(2).
[[nodiscard]] bool writeAll(int file, std::string_view bytes);

} // namespace veltra
