#include "logview/rows/TabSeparatedRow.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

LogLineTexts texts(std::string_view date, std::string_view message)
{
    LogLineTexts result;
    result[LogField::date] = date;
    result[LogField::time] = "time";
    result[LogField::component] = "component";
    result[LogField::messageType] = "type";
    result[LogField::message] = message;
    return result;
}

TEST(TabSeparatedRow, PartsTheTextsByTabulatorsInTheOrderOfTheColumns)
{
    EXPECT_EQ(tabSeparatedRow(texts("date", "message")), "date\ttime\tcomponent\ttype\tmessage");
}

TEST(TabSeparatedRow, WritesWhatWouldBreakTheLineAsTwoCharacters)
{
    EXPECT_EQ(tabSeparatedRow(texts("a\tb", "\\\n\r\t")),
              "a\\tb\ttime\tcomponent\ttype\t\\\\\\n\\r\\t");
}

TEST(TabSeparatedRow, KeepsNulBytesAndTextOutsideAscii)
{
    EXPECT_EQ(tabSeparatedRow(texts("\xC3\xA4", {"a\0b", 3})),
              std::string("\xC3\xA4\ttime\tcomponent\ttype\ta\0b", 26));
}

TEST(TabSeparatedRow, HasFourTabulatorsEvenWithoutTexts)
{
    EXPECT_EQ(tabSeparatedRow({}), "\t\t\t\t");
}

} // namespace
} // namespace veltra
