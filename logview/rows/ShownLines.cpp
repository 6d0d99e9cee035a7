#include "logview/rows/ShownLines.h"

#include <algorithm>

namespace veltra {

namespace {

bool endsWithShownMark(std::string_view text) noexcept
{
    return text.ends_with("Info") || text.ends_with("Warning");
}

bool carriesShownMark(std::string_view line) noexcept
{
    for (auto colon = line.find(':'); colon != std::string_view::npos;
         colon = line.find(':', colon + 1)) {
        if (endsWithShownMark(line.substr(0, colon)))
            return true;
    }
    return false;
}

} // namespace

// Most lines have the mark as their message type, so no search is needed.
bool carriesShownMark(std::string_view line, const ScannedLine& scanned) noexcept
{
    const bool hasMessageType = !scanned.ranPastEnd;
    return (hasMessageType && endsWithShownMark(scanned.texts[LogField::messageType])) ||
           carriesShownMark(line);
}

bool isShown(ShownLines shown, std::string_view messageType) noexcept
{
    return shown == ShownLines::all || messageType == "Error" || messageType == "Info";
}

bool isComplete(const LogLineTexts& texts) noexcept
{
    return std::ranges::none_of(texts, [](std::string_view text) { return text.empty(); });
}

} // namespace veltra
