#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

/// Whether `bytes` are well-formed UTF-8 according to RFC 3629: no overlong forms, no surrogates,
/// nothing above U+10FFFF. Fast for ASCII.
[[nodiscard]] bool isValidUtf8(std::string_view bytes) noexcept;

/// How many bytes at the start of `bytes` form complete, well-formed characters.
[[nodiscard]] std::size_t validUtf8Prefix(std::string_view bytes) noexcept;

/// How many bytes at the end of `bytes` are the start of a character that more bytes could
/// complete.
[[nodiscard]] std::size_t unfinishedUtf8Suffix(std::string_view bytes) noexcept;

} // namespace veltra
