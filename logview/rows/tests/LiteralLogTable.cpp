#include "logview/rows/tests/LiteralLogTable.h"

#include <algorithm>
#include <stdexcept>

namespace veltra {

namespace {

using Text = std::u32string;

enum Working : std::size_t { date, time, component, severity, message };

// Null if the bytes are not UTF-8.
std::optional<Text> decoded(const std::string& bytes)
{
    Text text;
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        const std::size_t length = lead < 0x80       ? 1
                                   : lead >> 5 == 6  ? 2
                                   : lead >> 4 == 14 ? 3
                                   : lead >> 3 == 30 ? 4
                                                     : 0;
        if (length == 0 || i + length > bytes.size())
            return std::nullopt;
        char32_t character = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t k = 1; k < length; ++k) {
            const auto tail = static_cast<unsigned char>(bytes[i + k]);
            if (tail >> 6 != 2)
                return std::nullopt;
            character = character << 6 | (tail & 0x3F);
        }
        constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
        if (character < smallest[length] || character > 0x10FFFF || character >> 11 == 0x1B)
            return std::nullopt;
        text += character;
        i += length;
    }
    return text;
}

std::string encoded(const Text& text)
{
    std::string bytes;
    const auto put = [&bytes](char32_t byte) { bytes += static_cast<char>(byte); };
    for (const char32_t c : text) {
        if (c < 0x80) {
            put(c);
        } else if (c < 0x800) {
            put(0xC0 | c >> 6);
            put(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            put(0xE0 | c >> 12);
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        } else {
            put(0xF0 | c >> 18);
            put(0x80 | (c >> 12 & 0x3F));
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        }
    }
    return bytes;
}

std::string escaped(const Text& text)
{
    std::string result;
    for (const char c : encoded(text)) {
        if (c == '\t')
            result += "\\t";
        else if (c == '\n')
            result += "\\n";
        else if (c == '\r')
            result += "\\r";
        else if (c == '\\')
            result += "\\\\";
        else
            result += c;
    }
    return result;
}

bool isWhiteSpaceOrLineBreak(char32_t c)
{
    static const Text all = U"\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005"
                            U"\u2006\u2007\u2008\u2009\u200A\u2028\u2029\u202F\u205F\u3000";
    return all.find(c) != Text::npos;
}

class Scanner {
  public:
    explicit Scanner(const Text& line) : line_{line} {}

    void scanUpTo(char32_t delimiter, std::optional<Text>* target)
    {
        while (cursor_ < line_.size() && isWhiteSpaceOrLineBreak(line_[cursor_]))
            ++cursor_;
        Text collected;
        while (cursor_ < line_.size() && line_[cursor_] != delimiter)
            collected += line_[cursor_++];
        if (target && !collected.empty())
            *target = collected;
    }

    void skipOne()
    {
        if (cursor_ + 1 > line_.size())
            throw std::out_of_range{"Range or index out of bounds"};
        ++cursor_;
    }

  private:
    const Text& line_;
    std::size_t cursor_ = 0;
};

bool contains(const Text& line, const Text& part)
{
    return std::search(line.begin(), line.end(), part.begin(), part.end()) != line.end();
}

} // namespace

void LiteralLogTable::updatelogs(const std::string& bytes, bool showAllLogs)
{
    working_ = {};
    std::vector<Text> batch;
    while (const auto line = readLine(bytes)) {
        log_.push_back("read line: " + encoded(*line));
        batch.push_back(*line);
    }
    std::erase(batch, Text{});
    std::ranges::reverse(batch);
    for (std::size_t i = 0; i + 1 < batch.size(); ++i) {
        try {
            parse(batch[i], showAllLogs);
        } catch (const std::out_of_range& error) {
            log_.push_back(std::string{"the error is "} + error.what());
        }
    }
}

std::optional<std::u32string> LiteralLogTable::readLine(const std::string& bytes)
{
    if (offset_ >= bytes.size())
        return std::nullopt;
    std::string line;
    bool isComplete = false;
    while (!isComplete && offset_ < bytes.size()) {
        std::string chunk = bytes.substr(offset_, 10);
        const auto location = chunk.find('\n');
        if (location != std::string::npos) {
            chunk = chunk.substr(0, location + 1);
            isComplete = true;
        }
        line += chunk;
        offset_ += chunk.size();
    }
    return decoded(line);
}

void LiteralLogTable::parse(const std::u32string& line, bool showAllLogs)
{
    if (!contains(line, U"Warning:") && !contains(line, U"Info:"))
        return;
    if (line.empty())
        return;

    Scanner scanner{line};
    scanner.scanUpTo(U' ', &working_[date]);
    scanner.skipOne();
    scanner.scanUpTo(U'.', &working_[time]);
    scanner.skipOne();
    scanner.scanUpTo(U' ', nullptr);
    scanner.skipOne();
    scanner.scanUpTo(U' ', nullptr);
    scanner.skipOne();
    scanner.scanUpTo(U'.', &working_[component]);
    scanner.skipOne();
    scanner.scanUpTo(U':', &working_[severity]);
    scanner.skipOne();
    scanner.scanUpTo(U'\n', &working_[message]);

    Record record;
    for (std::size_t i = 0; i < record.size(); ++i) {
        if (!working_[i])
            return;
        record[i] = *working_[i];
    }
    if (showAllLogs || *working_[severity] == U"Error" || *working_[severity] == U"Info")
        list_.insert(list_.begin(), record);
}

std::vector<std::string> LiteralLogTable::rows() const
{
    std::vector<std::string> lines;
    for (const Record& record : list_)
        lines.push_back(escaped(record[date]) + "\t" + escaped(record[time]) + "\t" +
                        escaped(record[component]) + "\t" + escaped(record[severity]) + "\t" +
                        escaped(record[message]));
    return lines;
}

} // namespace veltra
