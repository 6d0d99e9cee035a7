#include "logview/LogLineScanner.h"

#include "logview/WhiteSpace.h"

namespace veltra {

namespace {

class Cursor {
  public:
    explicit Cursor(std::string_view line) noexcept : rest_{line} {}

    /// What stands between the white space here and `delimiter`, or the end of the line.
    std::string_view scanUpTo(char delimiter) noexcept
    {
        rest_.remove_prefix(leadingWhiteSpace(rest_));
        const std::string_view piece = rest_.substr(0, rest_.find(delimiter));
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
