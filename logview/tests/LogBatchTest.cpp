#include "logview/LogBatch.h"

#include "logview/tests/LogTexts.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// What is made in advance of the lines of a batch.
struct Made {
    Lines rows;
    std::size_t plainEnd = 0;

    friend bool operator==(const Made&, const Made&) = default;
};

void PrintTo(const Made& made, std::ostream* out)
{
    *out << testing::PrintToString(made.rows) << " of " << made.plainEnd << " lines";
}

Made made(const Lines& lines, ShownLines shown = ShownLines::all, std::size_t firstLine = 0)
{
    RowMemory memory;
    LogBatch batch{.block = {}, .firstLine = firstLine, .plainEnd = 77, .rows = {{}}};
    batch.block.lines.assign(lines.begin(), lines.end());

    makePlainRows(batch, shown, memory);

    Made made{.rows = {}, .plainEnd = batch.plainEnd};
    for (const LogRows::Row& row : batch.rows)
        made.rows.push_back(tabSeparatedRow(row.texts()));
    return made;
}

TEST(LogBatch, MakesRowsOfLinesWithAMark)
{
    EXPECT_EQ(made({logLine("Info", "a"), logLine("Debug", "b"), logLine("Warning", "c"),
                    logLine("Error", "Info: d"), "nothing\n"}),
              (Made{{logRow("Info", "a"), logRow("Warning", "c"), logRow("Error", "Info: d")}, 5}));
}

TEST(LogBatch, MakesRowsOfTheSeveritiesShownOnly)
{
    EXPECT_EQ(made({logLine("Info", "a"), logLine("Warning", "b"), logLine("Error", "Info: c"),
                    logLine("XInfo", "d")},
                   ShownLines::errorsAndInfos),
              (Made{{logRow("Info", "a"), logRow("Error", "Info: c")}, 4}));
}

TEST(LogBatch, PassesOverTheLineThatIsNotShown)
{
    EXPECT_EQ(made({logLine("Info", "a"), logLine("Info", "b")}, ShownLines::all, 1),
              (Made{{logRow("Info", "b")}, 2}));
    EXPECT_EQ(made({}, ShownLines::all, 1), (Made{{}, 1}));
}

TEST(LogBatch, EndsInFrontOfALineThatLacksAText)
{
    EXPECT_EQ(made({logLine("Info", "a"), logLine("Info", ""), logLine("Info", "c")}),
              (Made{{logRow("Info", "a")}, 1}));
}

TEST(LogBatch, EndsInFrontOfALineThatLacksASeparator)
{
    EXPECT_EQ(made({logLine("Info", "a"), "Info:\n", logLine("Info", "c")}),
              (Made{{logRow("Info", "a")}, 1}));
}

TEST(LogBatch, PassesOverLinesWithoutAMarkThatLackATextOrASeparator)
{
    EXPECT_EQ(made({logLine("Debug", ""), "no separator\n", logLine("Info", "c")}),
              (Made{{logRow("Info", "c")}, 3}));
}

} // namespace
} // namespace veltra
