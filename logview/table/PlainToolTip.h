#pragma once

#include <QString>

namespace veltra {

/// A tool tip that shows `text` as it is, in several lines if it is long. Qt would take a text that
/// looks like HTML for HTML, and load the images that it names.
[[nodiscard]] QString plainToolTip(const QString& text);

} // namespace veltra
