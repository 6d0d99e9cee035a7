#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

/// leadingWhiteSpace() without its shortcut.
[[nodiscard]] std::size_t leadingWhiteSpaceOfAnyKind(std::string_view text) noexcept;

/// How many bytes of valid UTF-8 `text` are white space or line breaks before its first other
/// character: the characters of Unicode category Zs, tabs, U+000A to U+000D, U+0085, U+2028 and
/// U+2029.
[[nodiscard]] inline std::size_t leadingWhiteSpace(std::string_view text) noexcept
{
    // Nearly every text here begins with a letter or a digit, or with one space before it.
    const std::size_t space = text.starts_with(' ') ? 1 : 0;
    const bool isPlain = text.size() > space && text[space] > ' ';
    return isPlain ? space : leadingWhiteSpaceOfAnyKind(text);
}

/// `text` without white space and line breaks at both ends.
[[nodiscard]] std::string_view withoutWhiteSpaceAtEnds(std::string_view text) noexcept;

} // namespace veltra
