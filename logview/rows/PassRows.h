#pragma once

#include "logview/rows/LogRows.h"
#include "logview/rows/ShownLines.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace veltra {

/// The rows of one pass, collected in file order while the lines are read.
///
/// By definition, the table's lines are processed from the last to the first, and a line takes a
/// missing text from the line processed before it: the nearest later line in the file that has it.
/// Since hardly any line lacks a text, lines are taken as they are read, and the few gaps are
/// filled when a later line brings what is missing. A line whose gaps are never filled does not
/// become a row.
class PassRows {
  public:
    /// Removes rows that a failed pass has left behind.
    PassRows(LogRows& rows, ShownLines shown) : rows_{rows}, shown_{shown}
    {
        rows.dropUnpublished();
    }

    /// Takes the next line of the file. A line with a missing separator does not become a row, but
    /// its texts can fill the gaps of lines before it.
    void add(const ScannedLine& line);

    /// Whether a row still lacks a text that the next line may provide.
    [[nodiscard]] bool hasGaps() const noexcept;

    /// Takes the rows of the next lines, none of which lacks a text; only while there are no gaps.
    void add(std::span<const LogRows::Row> rows) { rows_.append(rows); }

    /// Publishes the rows on top of the table, in the order of the file.
    void publish();

  private:
    void closeGaps(const LogLineTexts& texts);
    void append(const LogLineTexts& texts);

    LogRows& rows_;
    ShownLines shown_;
    // For each text, the rows of the pass that still lack it.
    std::array<std::vector<std::size_t>, logFieldCount> gaps_;
    bool hadGaps_ = false;
};

} // namespace veltra
