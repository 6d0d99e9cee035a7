#pragma once

#include "logview/LogRows.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace veltra {

/// Which of the lines that carry "Warning:" or "Info:" become rows.
enum class ShownLines {
    errorsAndInfos, ///< those whose severity is exactly "Error" or "Info"
    all,
};

/// The rows of one pass, collected in file order while the lines go by.
///
/// The table's lines are worked through from the last to the first, and a text that a line lacks
/// is that of the line worked through before it, the nearest one behind it in the file that has
/// it. Since hardly any line lacks a text, lines are taken as they are read and the few gaps are
/// closed when a later line brings what is missing. A line whose gaps nobody closes is no row.
class PassRows {
  public:
    PassRows(LogRows& rows, ShownLines shown) : rows_{rows}, shown_{shown} {}

    /// Takes the next line of the file. One that ran past its end is no row itself, but lends its
    /// texts to lines before it.
    void add(const ScannedLine& line);

    /// Lets readers see the rows on top of the table, in the order of the file.
    void publish();

  private:
    void closeGaps(const LogLineTexts& texts);
    void append(const LogLineTexts& texts);
    [[nodiscard]] bool isShown(std::string_view messageType) const noexcept;

    LogRows& rows_;
    ShownLines shown_;
    // For each text, which rows of the pass still lack it.
    std::array<std::vector<std::size_t>, logFieldCount> gaps_;
    bool hadGaps_ = false;
};

} // namespace veltra
