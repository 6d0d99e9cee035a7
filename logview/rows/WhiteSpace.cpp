#include "logview/rows/WhiteSpace.h"

#include <algorithm>
#include <array>

namespace veltra {

namespace {

// The individual ones outside ASCII, as UTF-8.
constexpr std::array<std::string_view, 8> wideSpaces{"\u0085", "\u00A0", "\u1680", "\u2028",
                                                     "\u2029", "\u202F", "\u205F", "\u3000"};

constexpr bool isAscii(char c) noexcept
{
    return static_cast<unsigned char>(c) < 0x80;
}

constexpr bool isAsciiSpace(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// U+2000 to U+200A, distinguished by their last byte.
bool isFixedWidthSpace(std::string_view text) noexcept
{
    return text.starts_with("\xE2\x80") && text.size() >= 3 &&
           static_cast<unsigned char>(text[2]) <= 0x8A;
}

// The length of the non-ASCII space at the start of `text`, 0 if there is none.
std::size_t wideSpaceAtFront(std::string_view text) noexcept
{
    if (isFixedWidthSpace(text))
        return 3;
    const auto* space = std::ranges::find_if(
        wideSpaces, [text](std::string_view candidate) { return text.starts_with(candidate); });
    return space == wideSpaces.end() ? 0 : space->size();
}

std::size_t spaceAtFront(std::string_view text) noexcept
{
    if (text.empty())
        return 0;
    if (isAscii(text.front()))
        return isAsciiSpace(text.front()) ? 1 : 0;
    return wideSpaceAtFront(text);
}

std::size_t spaceAtBack(std::string_view text) noexcept
{
    for (const std::size_t length : {1U, 2U, 3U})
        if (text.size() >= length && spaceAtFront(text.substr(text.size() - length)) == length)
            return length;
    return 0;
}

} // namespace

std::size_t leadingWhiteSpaceOfAnyKind(std::string_view text) noexcept
{
    std::size_t skipped = 0;
    while (const std::size_t space = spaceAtFront(text.substr(skipped)))
        skipped += space;
    return skipped;
}

std::string_view withoutWhiteSpaceAtEnds(std::string_view text) noexcept
{
    text.remove_prefix(leadingWhiteSpace(text));
    while (const std::size_t space = spaceAtBack(text))
        text.remove_suffix(space);
    return text;
}

} // namespace veltra
