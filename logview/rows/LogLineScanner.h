#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace veltra {

/// The five texts of a log line that a row shows, in the order in which they are kept.
enum class LogField : std::size_t { date, time, component, messageType, message };
inline constexpr std::size_t logFieldCount = 5;

/// What was taken from one line, as UTF-8. A text that the line does not hold is empty, for none
/// that it does hold can be.
class LogLineTexts {
  public:
    LogLineTexts() = default;
    explicit LogLineTexts(const std::array<std::string_view, logFieldCount>& texts) : texts_{texts}
    {
    }

    std::string_view& operator[](LogField field) noexcept
    {
        return texts_[static_cast<std::size_t>(field)];
    }
    std::string_view operator[](LogField field) const noexcept
    {
        return texts_[static_cast<std::size_t>(field)];
    }
    [[nodiscard]] auto begin() const noexcept { return texts_.begin(); }
    [[nodiscard]] auto end() const noexcept { return texts_.end(); }

    friend bool operator==(const LogLineTexts&, const LogLineTexts&) = default;

  private:
    std::array<std::string_view, logFieldCount> texts_;
};

struct ScannedLine {
    LogLineTexts texts; ///< parts of the line that was scanned
    bool ranPastEnd =
        false; ///< a separator is missing; the texts before it were taken all the same
};

/// Takes the texts from one line (valid UTF-8, a line break at most at its end), which reads
///
///     DATE TIME.FRACTION THREAD COMPONENT.TYPE:MESSAGE
///
/// White space in front of each piece is passed over.
[[nodiscard]] ScannedLine scanLogLine(std::string_view line) noexcept;

} // namespace veltra
