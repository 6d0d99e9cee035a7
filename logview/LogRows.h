#pragma once

#include "logview/LogLineScanner.h"
#include "logview/RowMemory.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string_view>
#include <vector>

namespace veltra {

/// The rows of the log table, which only ever grow at the top.
///
/// A row is named by its age: row 0 is the oldest, and never changes. One thread at a time appends
/// the rows of a pass and publishes them; any thread may read what was published meanwhile. A row
/// takes its texts and sixteen bytes.
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

    /// Adds a row to the pass, below those that the pass has already.
    void append(const LogLineTexts& texts);

    /// How many rows the pass has.
    [[nodiscard]] std::size_t unpublishedCount() const noexcept { return stored_ - published_; }

    /// A row of the pass, counted from its first, and another one in its place.
    [[nodiscard]] const Row& unpublished(std::size_t index) const;
    void replaceUnpublished(std::size_t index, const LogLineTexts& texts);

    /// Takes the rows out of the pass that `isDropped` is true of.
    void dropUnpublished(const std::function<bool(const Row&)>& isDropped);

    /// Puts the rows of the pass above all others, the first one on top, for readers to see.
    void publish();

    /// How many rows readers see.
    [[nodiscard]] std::size_t count() const noexcept;

    /// A published row.
    [[nodiscard]] Row row(std::size_t age) const;

  private:
    [[nodiscard]] Row store(const LogLineTexts& texts);
    void addChunk();
    [[nodiscard]] Row& stored(std::size_t index) const;

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
