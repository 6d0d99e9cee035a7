#include "logview/rows/LogLineScanner.h"

#include "logview/rows/WhiteSpace.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace veltra {

namespace {

constexpr std::size_t windowSize = 64;

// A bit for each byte from `window` on, set if the byte is `wanted`.
std::uint64_t placesIn(const char* window, char wanted) noexcept
{
    std::uint64_t places = 0;
#ifdef __SSE2__
    constexpr std::size_t step = 16;
    const __m128i pattern = _mm_set1_epi8(wanted);
    for (std::size_t i = 0; i < windowSize; i += step) {
        __m128i bytes;
        std::memcpy(&bytes, window + i, sizeof bytes);
        const int found = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, pattern));
        places |= std::uint64_t{static_cast<std::uint32_t>(found)} << i;
    }
#else
    for (std::size_t i = 0; i < windowSize; ++i)
        places |= std::uint64_t{window[i] == wanted} << i;
#endif
    return places;
}

/// The first bytes of a line, padded with zeros.
class Window {
  public:
    explicit Window(std::string_view line) noexcept : bytes_{line.data()}
    {
        if (line.size() >= windowSize)
            return;
        std::ranges::copy(line, copy_.begin());
        bytes_ = copy_.data();
    }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    [[nodiscard]] const char* bytes() const noexcept { return bytes_; }

  private:
    std::array<char, windowSize> copy_{};
    const char* bytes_;
};

/// The positions of a character in a line. All positions in the window are found at once: the parts
/// of a line are so short that searching for the end of each would take longer.
class Delimiter {
  public:
    Delimiter(std::string_view line, const Window& window, char wanted) noexcept
        : line_{line}, wanted_{wanted}, places_{placesIn(window.bytes(), wanted)}
    {
    }

    /// Its next position from `start` on, or the line's length.
    [[nodiscard]] std::size_t next(std::size_t start) const noexcept
    {
        const std::uint64_t places = start < windowSize ? places_ >> start : 0;
        if (places != 0)
            return start + static_cast<std::size_t>(std::countr_zero(places));
        return std::min(line_.find(wanted_, std::max(start, windowSize)), line_.size());
    }

  private:
    std::string_view line_;
    char wanted_;
    std::uint64_t places_;
};

class Cursor {
  public:
    explicit Cursor(std::string_view line) noexcept : line_{line} {}

    /// The text between the white space here and the delimiter, which is skipped, or the end of the
    /// line.
    std::string_view scanUpTo(const Delimiter& delimiter) noexcept
    {
        skipWhiteSpace();
        const std::size_t start = at_;
        const std::size_t end = delimiter.next(start);
        ranPastEnd_ = end == line_.size();
        at_ = ranPastEnd_ ? end : end + 1;
        return line_.substr(start, end - start);
    }

    /// The text between the white space here and the line break at the end of the line; the line
    /// contains no other line break.
    std::string_view scanRest() noexcept
    {
        skipWhiteSpace();
        const std::string_view rest = line_.substr(at_);
        return rest.substr(0, rest.size() - (rest.ends_with('\n') ? 1 : 0));
    }

    /// Whether a delimiter was missing. In that case nothing follows.
    [[nodiscard]] bool ranPastEnd() const noexcept { return ranPastEnd_; }

  private:
    void skipWhiteSpace() noexcept { at_ += leadingWhiteSpace(line_.substr(at_)); }

    std::string_view line_;
    std::size_t at_ = 0;
    bool ranPastEnd_ = false;
};

} // namespace

ScannedLine scanLogLine(std::string_view line) noexcept
{
    const Window window{line};
    const Delimiter space{line, window, ' '};
    const Delimiter point{line, window, '.'};
    const Delimiter colon{line, window, ':'};

    Cursor cursor{line};
    const auto date = cursor.scanUpTo(space);
    const auto time = cursor.scanUpTo(point);
    cursor.scanUpTo(space); // the fraction of a second
    cursor.scanUpTo(space); // the thread
    const auto component = cursor.scanUpTo(point);
    const auto messageType = cursor.scanUpTo(colon);
    const auto message = cursor.scanRest();
    return {.texts = LogLineTexts{{date, time, component, messageType, message}},
            .ranPastEnd = cursor.ranPastEnd()};
}

} // namespace veltra
