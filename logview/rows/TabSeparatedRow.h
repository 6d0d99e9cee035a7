#pragma once

#include "logview/rows/LogLineScanner.h"

#include <string>

namespace veltra {

/// The texts of a row as one line, without a line break at its end: date, time, component, message
/// type and message, separated by tabs. Backslashes, tabs, line feeds and carriage returns inside
/// them are written \\ \t \n \r.
[[nodiscard]] std::string tabSeparatedRow(const LogLineTexts& texts);

} // namespace veltra
