#pragma once

#include "logview/rows/FileReader.h"
#include "logview/rows/LogRows.h"
#include "logview/rows/ShownLines.h"

#include <cstddef>
#include <vector>

namespace veltra {

/// Consecutive lines of a pass, and their rows.
///
/// Whether a line becomes a row, and which one, hardly ever depends on other lines; it does if the
/// line lacks a text or a separator. The lines before the first such line are processed in advance.
struct LogBatch {
    LineBlock block;
    std::size_t firstLine = 0;      ///< lines before it are not shown: 1 in the pass's first batch
    std::size_t plainEnd = 0;       ///< the end of the lines processed in advance
    std::vector<LogRows::Row> rows; ///< the rows of those lines
};

/// Processes the plain lines of `batch.block`. The rows' texts are put into `memory`. Throws
/// std::bad_alloc; the batch is then valid for the lines processed so far.
void makePlainRows(LogBatch& batch, ShownLines shown, RowMemory& memory);

} // namespace veltra
