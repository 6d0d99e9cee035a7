#pragma once

#include "logview/rows/LogRows.h"
#include "logview/rows/PassRows.h"

#include <cstdint>
#include <stop_token>
#include <string>

namespace veltra {

/// One reading of what was appended to a log.
///
/// Reads the file at `path` from `offset` to its present end, puts the lines that are to be shown
/// on top of `rows` and publishes them; returns where the next pass starts. Shown are lines that
/// carry "Warning:" or "Info:" and that `shown` admits. The first line that a pass reads is never
/// shown. The lines of a pass stand in file order, above those of all earlier passes. Every line
/// read is logged, and so is every line that has no place for a separator.
///
/// One pass at a time may run on the same rows. A pass that is asked to stop while it reads ends
/// soon and shows nothing; it is the last one on these rows.
std::uint64_t runLogPass(LogRows& rows, const std::string& path, std::uint64_t offset,
                         ShownLines shown, const std::stop_token& stop = {});

} // namespace veltra
