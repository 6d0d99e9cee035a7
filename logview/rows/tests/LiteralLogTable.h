#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// The log table implemented in the simplest way, to compare the fast one with: the file is read in
/// chunks of ten bytes, a pass collects all its lines, reverses them and processes them character
/// by character, and rows are inserted one by one at the top.
class LiteralLogTable {
  public:
    /// Date, time, component, message type, message.
    using Record = std::array<std::u32string, 5>;

    /// Runs one pass over a log that contains `bytes`.
    void updatelogs(const std::string& bytes, bool showAllLogs);

    [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }

    /// The rows, the top one first, their texts as tabSeparatedRow() writes them.
    [[nodiscard]] std::vector<std::string> rows() const;

    /// Everything logged so far.
    [[nodiscard]] const std::vector<std::string>& log() const noexcept { return log_; }

  private:
    std::optional<std::u32string> readLine(const std::string& bytes);
    void parse(const std::u32string& line, bool showAllLogs);

    std::vector<Record> list_;
    std::uint64_t offset_ = 0;
    std::vector<std::string> log_;
    std::array<std::optional<std::u32string>, 5> working_;
};

} // namespace veltra
