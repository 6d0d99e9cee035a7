#pragma once

#include "logview/rows/LogLineScanner.h"

#include <string_view>

namespace veltra {

/// Which of the lines that contain "Warning:" or "Info:" become rows.
enum class ShownLines {
    errorsAndInfos, ///< those whose severity is exactly "Error" or "Info"
    all,
};

/// Whether `line`, from which scanLogLine() made `scanned`, contains "Warning:" or "Info:".
[[nodiscard]] bool carriesShownMark(std::string_view line, const ScannedLine& scanned) noexcept;

/// Whether lines of this severity are shown.
[[nodiscard]] bool isShown(ShownLines shown, std::string_view messageType) noexcept;

/// Whether no text is empty.
[[nodiscard]] bool isComplete(const LogLineTexts& texts) noexcept;

} // namespace veltra
