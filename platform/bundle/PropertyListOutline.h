#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

/// How many elements of a property list may stand inside one another.
inline constexpr std::size_t deepestPropertyList = 64;

/// Whether the mark-up of `xml` is that of a property list, apart from what the elements hold.
///
/// The bytes are UTF-8 without NUL. There is one root element, `plist`, with one child; every tag
/// that begins ends, in order and at most `deepestPropertyList` deep; only `plist`, `dict` and
/// `array` hold others, and hold no text besides; a `dict` holds pairs; before and after the
/// root stand only comments, processing instructions, white space and (before it) a document type
/// without declarations of its own. What is accepted is less than XML allows: no quoted angle
/// brackets and no lone quotes in tags.
[[nodiscard]] bool hasPropertyListOutline(std::string_view xml);

} // namespace veltra
