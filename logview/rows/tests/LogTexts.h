#pragma once

#include "logview/rows/LogRows.h"
#include "logview/rows/TabSeparatedRow.h"

#include <string>
#include <string_view>
#include <vector>

namespace veltra {

/// The five texts in the order of the columns; the result refers to the arguments.
[[nodiscard]] inline LogLineTexts logTexts(std::string_view date, std::string_view time,
                                           std::string_view component, std::string_view messageType,
                                           std::string_view message)
{
    LogLineTexts texts;
    texts[LogField::date] = date;
    texts[LogField::time] = time;
    texts[LogField::component] = component;
    texts[LogField::messageType] = messageType;
    texts[LogField::message] = message;
    return texts;
}

/// The published rows, the top one first, their texts separated by tabs.
[[nodiscard]] inline std::vector<std::string> rowsFromTheTop(const LogRows& rows)
{
    std::vector<std::string> lines;
    for (std::size_t age = rows.count(); age > 0; --age)
        lines.push_back(tabSeparatedRow(rows.row(age - 1).texts()));
    return lines;
}

/// A well-formed log line of the given severity and message.
[[nodiscard]] inline std::string logLine(std::string_view messageType, std::string_view message)
{
    std::string line = "2024-03-05 10:22:33.456 (1.2) vxsvc.";
    return line.append(messageType).append(": ").append(message).append("\n");
}

/// The row that logLine() results in.
[[nodiscard]] inline std::string logRow(std::string_view messageType, std::string_view message)
{
    return tabSeparatedRow(logTexts("2024-03-05", "10:22:33", "vxsvc", messageType, message));
}

} // namespace veltra
