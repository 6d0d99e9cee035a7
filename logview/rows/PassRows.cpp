#include "logview/rows/PassRows.h"

#include <algorithm>

namespace veltra {

void PassRows::add(const ScannedLine& line)
{
    closeGaps(line.texts);
    if (line.ranPastEnd)
        return;
    const std::string_view messageType = line.texts[LogField::messageType];
    if (messageType.empty() || isShown(shown_, messageType))
        append(line.texts);
}

void PassRows::publish()
{
    // A message type that came from another line may be one that is not shown.
    if (hadGaps_)
        rows_.dropUnpublished([this](const LogRows::Row& row) {
            return !isComplete(row.texts()) || !isShown(shown_, row.text(LogField::messageType));
        });
    rows_.publish();
}

void PassRows::closeGaps(const LogLineTexts& texts)
{
    if (!hadGaps_)
        return;
    for (std::size_t index = 0; index < logFieldCount; ++index) {
        const auto field = static_cast<LogField>(index);
        if (texts[field].empty())
            continue;
        for (const std::size_t row : gaps_[index]) {
            LogLineTexts closed = rows_.unpublished(row).texts();
            closed[field] = texts[field];
            rows_.replaceUnpublished(row, closed);
        }
        gaps_[index].clear();
    }
}

void PassRows::append(const LogLineTexts& texts)
{
    rows_.append(texts);
    if (isComplete(texts))
        return;
    hadGaps_ = true;
    for (std::size_t index = 0; index < logFieldCount; ++index)
        if (texts[static_cast<LogField>(index)].empty())
            gaps_[index].push_back(rows_.unpublishedCount() - 1);
}

bool PassRows::hasGaps() const noexcept
{
    return std::ranges::any_of(gaps_, [](const auto& rows) { return !rows.empty(); });
}

} // namespace veltra
