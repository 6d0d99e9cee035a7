#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace veltra {

/// The five texts of a log line that a row shows, in the order in which they are stored.
enum class LogField : std::size_t { date, time, component, messageType, message };
inline constexpr std::size_t logFieldCount = 5;

/// The texts of one line, as UTF-8. An empty text means that the line does not contain it, because
/// a text that the line contains is never empty.
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
    LogLineTexts texts;      ///< parts of the line that was scanned
    bool ranPastEnd = false; ///< a separator is missing; the texts before it are still set
};

/// Extracts the texts from one line (valid UTF-8, with a line break at most at its end) of the form
///
///     DATE TIME.FRACTION THREAD COMPONENT.TYPE:MESSAGE
///
/// White space before each part is skipped.
[[nodiscard]] ScannedLine scanLogLine(std::string_view line) noexcept;

} // namespace veltra
