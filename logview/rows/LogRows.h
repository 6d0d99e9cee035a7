#pragma once

#include "logview/rows/LogLineScanner.h"
#include "logview/rows/RowMemory.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

namespace veltra {

/// The rows of the log table, which only grow at the top.
///
/// A row is identified by its age: row 0 is the oldest, and never changes. One thread at a time
/// appends the rows of a pass and publishes them; meanwhile any thread may read published rows.
/// Other threads can make rows to be appended, each in its own memory. A row takes its texts and
/// sixteen bytes.
class LogRows {
  public:
    /// The texts of one row. A value; valid as long as the rows live.
    class Row {
      public:
        [[nodiscard]] std::string_view text(LogField field) const noexcept;
        [[nodiscard]] LogLineTexts texts() const noexcept;

      private:
        friend class LogRows;
        using Lengths = std::array<std::size_t, logFieldCount>;
        static constexpr std::uint8_t lengthsInFront = 0xFF;

        [[nodiscard]] bool hasLengthsInFront() const noexcept;
        [[nodiscard]] Lengths lengths() const noexcept;

        // The texts are stored one after the other. All but the message are usually short, so one
        // byte holds each length; if a length does not fit, all lengths are stored before the
        // texts.
        const char* texts_ = nullptr;
        std::uint32_t messageLength_ = 0;
        std::array<std::uint8_t, logFieldCount - 1> shortLengths_{};
    };

    LogRows() = default;
    LogRows(const LogRows&) = delete;
    LogRows& operator=(const LogRows&) = delete;

    /// How many other threads can make rows at the same time, and the memory for each of them,
    /// which is kept as long as the rows.
    static constexpr std::size_t makerCount = 2;
    [[nodiscard]] RowMemory& memory(std::size_t maker) noexcept { return memories_[maker]; }

    /// Makes a row with a copy of `texts` in `memory`.
    [[nodiscard]] static Row makeRow(const LogLineTexts& texts, RowMemory& memory);

    /// Appends rows to the pass: one that is made of `texts` here, or rows that were made in any of
    /// those memories.
    void append(const LogLineTexts& texts);
    void append(std::span<const Row> rows);

    /// How many rows the pass has.
    [[nodiscard]] std::size_t unpublishedCount() const noexcept { return stored_ - published_; }

    /// A row of the pass, counted from its first, and a function that replaces it.
    [[nodiscard]] const Row& unpublished(std::size_t index) const;
    void replaceUnpublished(std::size_t index, const LogLineTexts& texts);

    /// Removes the rows from the pass for which `isDropped` returns true.
    void dropUnpublished(const std::function<bool(const Row&)>& isDropped);

    /// Removes all rows from the pass.
    void dropUnpublished() noexcept { stored_ = published_; }

    /// Puts the rows of the pass above all others, the first one on top, and makes them visible to
    /// readers.
    void publish();

    /// How many lines were read for these rows, shown or not. Any thread.
    void addLinesRead(std::size_t count) noexcept { linesRead_ += count; }
    [[nodiscard]] std::size_t linesRead() const noexcept { return linesRead_; }

    /// The number of published rows.
    [[nodiscard]] std::size_t count() const noexcept;

    /// A published row.
    [[nodiscard]] Row row(std::size_t age) const;

  private:
    void addChunk();
    [[nodiscard]] Row& stored(std::size_t index) const;

    // Each is used only by the thread that makes rows in it.
    std::array<RowMemory, makerCount> memories_;

    // Used only by the appending thread.
    std::size_t stored_ = 0;
    RowMemory memory_;

    std::atomic<std::size_t> published_ = 0;
    std::atomic<std::size_t> linesRead_ = 0;

    // The rows themselves, in the order in which they were appended, are written before they are
    // published and never again. Only the lists, which move as they grow, are shared.
    mutable std::mutex listsMutex_;
    std::vector<Row*> chunks_;
    std::vector<std::size_t> passEnds_; // the index after the last row of each pass that had rows
};

} // namespace veltra
