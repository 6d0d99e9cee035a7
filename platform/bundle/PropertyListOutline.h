#pragma once

#include <cstddef>
#include <string_view>

namespace veltra {

/// How deep the elements of a property list may be nested.
inline constexpr std::size_t deepestPropertyList = 64;

/// Whether the markup of `xml` is that of a property list, regardless of the elements' contents.
///
/// The bytes must be UTF-8 without NUL. There must be one root element, `plist`, with one child.
/// Every start tag must have its end tag, properly nested and at most `deepestPropertyList` deep.
/// Only `plist`, `dict` and `array` may contain elements, and these contain no text of their own; a
/// `dict` contains pairs. Before and after the root there may only be comments, processing
/// instructions, white space and (before it) a document type without internal declarations. This
/// accepts less than XML allows: tags may not contain quoted angle brackets or unpaired quotes.
[[nodiscard]] bool hasPropertyListOutline(std::string_view xml);

} // namespace veltra
