// Compares the scanner, which looks at many bytes at once, with one that takes them in turn.
#include "logview/rows/LogLineScanner.h"
#include "logview/rows/WhiteSpace.h"
#include "platform/base/Utf8.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <string_view>

namespace veltra::fuzz {

namespace {

class PlainScanner {
  public:
    explicit PlainScanner(std::string_view line) : rest_{line} {}

    ScannedLine scan()
    {
        ScannedLine scanned;
        scanned.texts[LogField::date] = upTo(' ');
        scanned.texts[LogField::time] = upTo('.');
        upTo(' ');
        upTo(' ');
        scanned.texts[LogField::component] = upTo('.');
        scanned.texts[LogField::messageType] = upTo(':');
        scanned.ranPastEnd = isAtEnd_;
        rest_.remove_prefix(leadingWhiteSpaceOfAnyKind(rest_));
        if (rest_.ends_with('\n'))
            rest_.remove_suffix(1);
        scanned.texts[LogField::message] = rest_;
        return scanned;
    }

  private:
    std::string_view upTo(char delimiter)
    {
        rest_.remove_prefix(leadingWhiteSpaceOfAnyKind(rest_));
        const auto end = std::ranges::find(rest_, delimiter);
        isAtEnd_ = end == rest_.end();
        const std::string_view text{rest_.begin(), end};
        rest_ = {isAtEnd_ ? end : end + 1, rest_.end()};
        return text;
    }

    std::string_view rest_;
    bool isAtEnd_ = false;
};

Outcome readLine(std::string_view line)
{
    const ScannedLine scanned = scanLogLine(line);
    const ScannedLine expected = PlainScanner{line}.scan();
    if (scanned.texts != expected.texts || scanned.ranPastEnd != expected.ranPastEnd)
        return Outcome::broken;
    return scanned.ranPastEnd ? Outcome::refused : Outcome::good;
}

} // namespace

Outcome read(const std::string& bytes)
{
    auto worst = Outcome::good;
    for (auto start = bytes.begin(); start != bytes.end();) {
        const auto lineBreak = std::find(start, bytes.end(), '\n');
        const auto end = lineBreak == bytes.end() ? lineBreak : lineBreak + 1;
        // With nothing behind it, so that a sanitizer sees what is read there.
        const std::vector<char> line{start, end};
        const std::string_view text{line.data(), line.size()};
        worst = std::max(worst, isValidUtf8(text) ? readLine(text) : Outcome::refused);
        start = end;
    }
    return worst;
}

std::vector<std::string> pieces()
{
    return {" ",
            ".",
            ":",
            "\n",
            "\r\n",
            "\t",
            "\xC2\xA0",
            "\xE2\x80\xA8",
            "\xC2\x85",
            "\xF0\x9F\x98\x80",
            "Info",
            "Warning:",
            std::string(60, 'w'),
            std::string(1, '\0')};
}

} // namespace veltra::fuzz
