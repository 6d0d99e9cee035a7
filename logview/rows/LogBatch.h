#pragma once

#include "logview/rows/FileReader.h"
#include "logview/rows/LogRows.h"
#include "logview/rows/ShownLines.h"

#include <cstddef>
#include <vector>

namespace veltra {

/// Lines of a pass that follow one another, and the rows that they make.
///
/// Hardly any line needs to know of others to become a row or none. The lines in front of the
/// first one that does, one that lacks a text or a separator, are worked through in advance.
struct LogBatch {
    LineBlock block;
    std::size_t firstLine = 0; ///< those in front of it are not shown: 1 in the pass's first batch
    std::size_t plainEnd = 0;  ///< up to this line
    std::vector<LogRows::Row> rows; ///< these are the rows
};

/// Works the plain lines of `batch.block` through. The rows' texts are put into `memory`. Throws
/// std::bad_alloc, after which the batch is good as far as it got.
void makePlainRows(LogBatch& batch, ShownLines shown, RowMemory& memory);

} // namespace veltra
