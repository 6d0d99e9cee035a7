#pragma once

#include "logview/rows/LogRows.h"
#include "logview/rows/PassRows.h"

#include <cstdint>
#include <stop_token>
#include <string>

namespace veltra {

/// Reads what was appended to a log.
///
/// Reads the file at `path` from `offset` to its current end, puts the lines to be shown on top of
/// `rows` and publishes them; returns where the next pass starts. Lines are shown if they contain
/// "Warning:" or "Info:" and `shown` admits them. The first line that a pass reads is never shown.
/// The lines of a pass are in file order, above those of all earlier passes. Every line read is
/// logged. For every line that contains a mark but lacks a separator, an error is logged at the
/// end. If memory runs out, the pass ends early, which is logged, and the next one goes on behind
/// the lines that were read.
///
/// Only one pass at a time may run on the same rows. A pass that is asked to stop while it reads
/// ends soon and shows nothing; it must be the last one on these rows.
std::uint64_t runLogPass(LogRows& rows, const std::string& path, std::uint64_t offset,
                         ShownLines shown, const std::stop_token& stop = {});

} // namespace veltra
