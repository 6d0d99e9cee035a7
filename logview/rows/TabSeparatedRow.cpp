#include "logview/rows/TabSeparatedRow.h"

namespace veltra {

namespace {

void appendEscaped(std::string& line, std::string_view text)
{
    for (const char c : text) {
        switch (c) {
        case '\\':
            line += "\\\\";
            break;
        case '\t':
            line += "\\t";
            break;
        case '\n':
            line += "\\n";
            break;
        case '\r':
            line += "\\r";
            break;
        default:
            line += c;
        }
    }
}

} // namespace

std::string tabSeparatedRow(const LogLineTexts& texts)
{
    std::string line;
    for (const std::string_view text : texts) {
        appendEscaped(line, text);
        line += '\t';
    }
    line.pop_back();
    return line;
}

} // namespace veltra
