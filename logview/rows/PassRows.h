#pragma once

#include "logview/rows/LogRows.h"
#include "logview/rows/ShownLines.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace veltra {

/// The rows of one pass, collected in file order while the lines go by.
///
/// The table's lines are worked through from the last to the first, and a text that a line lacks
/// is that of the line worked through before it, the nearest one behind it in the file that has
/// it. Since hardly any line lacks a text, lines are taken as they are read and the few gaps are
/// closed when a later line brings what is missing. A line whose gaps nobody closes is no row.
class PassRows {
  public:
    /// Drops what a pass has left behind that failed.
    PassRows(LogRows& rows, ShownLines shown) : rows_{rows}, shown_{shown}
    {
        rows.dropUnpublished();
    }

    /// Takes the next line of the file. One that ran past its end is no row itself, but lends its
    /// texts to lines before it.
    void add(const ScannedLine& line);

    /// Whether a row still lacks a text that the next line may bring.
    [[nodiscard]] bool hasGaps() const noexcept;

    /// Takes the rows of lines that follow, none of which lacks a text, while there are no gaps.
    void add(std::span<const LogRows::Row> rows) { rows_.append(rows); }

    /// Lets readers see the rows on top of the table, in the order of the file.
    void publish();

  private:
    void closeGaps(const LogLineTexts& texts);
    void append(const LogLineTexts& texts);

    LogRows& rows_;
    ShownLines shown_;
    // For each text, which rows of the pass still lack it.
    std::array<std::vector<std::size_t>, logFieldCount> gaps_;
    bool hadGaps_ = false;
};

} // namespace veltra
