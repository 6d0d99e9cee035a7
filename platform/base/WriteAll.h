#pragma once

#include <string_view>

namespace veltra {

/// Writes all of `bytes` to a file that blocks, over signals and short writes. False when that
/// fails, with the reason in errno; some of it may be written then. See write(2).
[[nodiscard]] bool writeAll(int file, std::string_view bytes);

} // namespace veltra
