#include "logview/LogLineScanner.h"

#include "logview/WhiteSpace.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace veltra {

namespace {

constexpr std::uint64_t everyByte = 0x0101010101010101U;

// The top bit of the lowest zero byte, perhaps with others above it; 0 if no byte is zero.
constexpr std::uint64_t markZeroByte(std::uint64_t word) noexcept
{
    return (word - everyByte) & ~word & (everyByte << 7U);
}

// As text.find(), with the text's length for "nowhere". The pieces of a line are so short that
// calling memchr(3) for each would take longer than looking through them.
std::size_t findNear(std::string_view text, char wanted) noexcept
{
    static_assert(std::endian::native == std::endian::little);
    const std::uint64_t pattern = everyByte * static_cast<unsigned char>(wanted);
    std::size_t start = 0;
    for (std::uint64_t word = 0; text.size() - start >= sizeof word; start += sizeof word) {
        std::memcpy(&word, text.data() + start, sizeof word);
        if (const std::uint64_t mark = markZeroByte(word ^ pattern))
            return start + static_cast<std::size_t>(std::countr_zero(mark)) / 8;
    }
    while (start < text.size() && text[start] != wanted)
        ++start;
    return start;
}

class Cursor {
  public:
    explicit Cursor(std::string_view line) noexcept : rest_{line} {}

    /// What stands between the white space here and `delimiter`, or the end of the line.
    std::string_view scanUpTo(char delimiter) noexcept
    {
        rest_.remove_prefix(leadingWhiteSpace(rest_));
        const std::string_view piece = rest_.substr(0, findNear(rest_, delimiter));
        rest_.remove_prefix(piece.size());
        return piece;
    }

    /// What stands between the white space here and the line break at the end of the line, which
    /// is the only one it can hold.
    std::string_view scanRest() noexcept
    {
        rest_.remove_prefix(leadingWhiteSpace(rest_));
        return rest_.substr(0, rest_.size() - (rest_.ends_with('\n') ? 1 : 0));
    }

    /// Whether there was a character to skip. Here it is always a delimiter, one byte long.
    bool skipOne() noexcept
    {
        if (rest_.empty())
            return false;
        rest_.remove_prefix(1);
        return true;
    }

  private:
    std::string_view rest_;
};

} // namespace

ScannedLine scanLogLine(std::string_view line) noexcept
{
    ScannedLine scanned;
    Cursor cursor{line};
    const auto take = [&](LogField field, char delimiter) {
        scanned.texts[field] = cursor.scanUpTo(delimiter);
        return cursor.skipOne();
    };
    const auto passOver = [&](char delimiter) {
        cursor.scanUpTo(delimiter);
        return cursor.skipOne();
    };

    // The fraction of a second and the thread are passed over.
    scanned.ranPastEnd =
        !(take(LogField::date, ' ') && take(LogField::time, '.') && passOver(' ') &&
          passOver(' ') && take(LogField::component, '.') && take(LogField::messageType, ':'));
    if (!scanned.ranPastEnd)
        scanned.texts[LogField::message] = cursor.scanRest();
    return scanned;
}

} // namespace veltra
