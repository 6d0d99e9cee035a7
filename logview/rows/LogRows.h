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

/// The rows of the log table, which only ever grow at the top.
///
/// A row is named by its age: row 0 is the oldest, and never changes. One thread at a time appends
/// the rows of a pass and publishes them; any thread may read what was published meanwhile. Other
/// threads can make rows to be appended, each in memory of its own. A row takes its texts and
/// sixteen bytes.
class LogRows {
  public:
    /// The texts of one row. A value; good as long as the rows live.
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

        // The texts stand one behind the other. All but the message are short as a rule, so a
        // byte holds each length; where one does not fit, all stand in front of the texts.
        const char* texts_ = nullptr;
        std::uint32_t messageLength_ = 0;
        std::array<std::uint8_t, logFieldCount - 1> shortLengths_{};
    };

    LogRows() = default;
    LogRows(const LogRows&) = delete;
    LogRows& operator=(const LogRows&) = delete;

    /// How many other threads can make rows at the same time, and the memory for each of them. It
    /// is kept as long as the rows.
    static constexpr std::size_t makerCount = 2;
    [[nodiscard]] RowMemory& memory(std::size_t maker) noexcept { return memories_[maker]; }

    /// A row with a copy of `texts`, which is put into `memory`.
    [[nodiscard]] static Row makeRow(const LogLineTexts& texts, RowMemory& memory);

    /// Adds rows to the pass, below those that the pass has already: one that is made of `texts`
    /// here, and those that were made in any of those memories.
    void append(const LogLineTexts& texts);
    void append(std::span<const Row> rows);

    /// How many rows the pass has.
    [[nodiscard]] std::size_t unpublishedCount() const noexcept { return stored_ - published_; }

    /// A row of the pass, counted from its first, and another one in its place.
    [[nodiscard]] const Row& unpublished(std::size_t index) const;
    void replaceUnpublished(std::size_t index, const LogLineTexts& texts);

    /// Takes the rows out of the pass that `isDropped` is true of.
    void dropUnpublished(const std::function<bool(const Row&)>& isDropped);

    /// Takes all rows out of the pass.
    void dropUnpublished() noexcept { stored_ = published_; }

    /// Puts the rows of the pass above all others, the first one on top, for readers to see.
    void publish();

    /// How many rows readers see.
    [[nodiscard]] std::size_t count() const noexcept;

    /// A published row.
    [[nodiscard]] Row row(std::size_t age) const;

  private:
    void addChunk();
    [[nodiscard]] Row& stored(std::size_t index) const;

    // Each touched by the thread alone that makes rows in it.
    std::array<RowMemory, makerCount> memories_;

    // Touched by the appending thread alone.
    std::size_t stored_ = 0;
    RowMemory memory_;

    std::atomic<std::size_t> published_ = 0;

    // The rows themselves, in the order in which they were appended, are written before they are
    // published and never again; only the lists, which move as they grow, are shared.
    mutable std::mutex listsMutex_;
    std::vector<Row*> chunks_;
    std::vector<std::size_t> passEnds_; // behind the last row of each pass that had rows
};

} // namespace veltra
