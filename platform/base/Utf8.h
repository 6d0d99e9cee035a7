#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

/// Whether `bytes` are well-formed UTF-8 as of RFC 3629: no overlong forms, no surrogates,
/// nothing above U+10FFFF. Fast over ASCII.
[[nodiscard]] bool isValidUtf8(std::string_view bytes) noexcept;

/// How many bytes at the beginning of `bytes` are whole, well-formed characters.
[[nodiscard]] std::size_t validUtf8Prefix(std::string_view bytes) noexcept;

} // namespace veltra
