#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace veltra {

// A file's name may be any bytes, a text may not. Bytes that are not UTF-8 become unpaired
// surrogates (U+DC80 to U+DCFF), which no valid text contains, so that nothing is lost.

/// The text for a path.
[[nodiscard]] QString pathFromBytes(std::string_view bytes);

/// The path for a text, as the system knows it.
[[nodiscard]] std::string bytesOfPath(const QString& path);

} // namespace veltra
