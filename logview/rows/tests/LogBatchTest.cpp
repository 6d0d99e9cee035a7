#include "logview/rows/LogBatch.h"

#include "logview/rows/tests/FailingMemory.h"
#include "logview/rows/tests/LogTexts.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// What is made in advance from the lines of a batch.
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

// The second of these texts needs another block, and the third is not processed any more.
TEST(LogBatch, KeepsTheRowsThatItMadeBeforeMemoryRanOut)
{
    const std::string longText(100'000, 'x');
    const Lines lines{logLine("Info", longText), logLine("Info", longText), logLine("Info", "c")};
    RowMemory memory;
    LogBatch batch{.block = {}, .firstLine = 0, .plainEnd = 77, .rows = {}};
    batch.block.lines.assign(lines.begin(), lines.end());

    blocksLeft = 1;
    EXPECT_THROW(makePlainRows(batch, ShownLines::all, memory), std::bad_alloc);
    blocksLeft = unlimitedBlocks;

    ASSERT_EQ(batch.rows.size(), 1U);
    EXPECT_EQ(tabSeparatedRow(batch.rows[0].texts()), logRow("Info", longText));
    EXPECT_EQ(batch.plainEnd, 1U);
}

} // namespace
} // namespace veltra

void* operator new(std::size_t bytes, std::align_val_t alignment)
{
    if (veltra::blocksLeft == 0)
        throw std::bad_alloc{};
    if (veltra::blocksLeft != veltra::unlimitedBlocks)
        --veltra::blocksLeft;
    void* memory = nullptr;
    if (::posix_memalign(&memory, static_cast<std::size_t>(alignment), bytes) != 0)
        throw std::bad_alloc{};
    return memory;
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    std::free(memory);
}
