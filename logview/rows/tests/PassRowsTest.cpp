#include "logview/rows/PassRows.h"

#include "logview/rows/tests/LogTexts.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// The rows that result from scanned lines, given in file order.
class PassRowsTest : public testing::Test {
  protected:
    static ScannedLine line(std::string_view date, std::string_view time,
                            std::string_view component, std::string_view messageType,
                            std::string_view message)
    {
        return {.texts = logTexts(date, time, component, messageType, message)};
    }

    static ScannedLine cutOff(const LogLineTexts& texts)
    {
        return {.texts = texts, .ranPastEnd = true};
    }

    Lines rowsOf(const std::vector<ScannedLine>& lines, ShownLines shown = ShownLines::all)
    {
        PassRows pass{rows_, shown};
        for (const ScannedLine& line : lines)
            pass.add(line);
        EXPECT_EQ(rows_.count(), published_);
        pass.publish();
        published_ = rows_.count();
        return rowsFromTheTop(rows_);
    }

    void leaveUnpublished(const ScannedLine& line) { PassRows{rows_, ShownLines::all}.add(line); }

  private:
    LogRows rows_;
    std::size_t published_ = 0;
};

TEST_F(PassRowsTest, StandInFileOrder)
{
    EXPECT_EQ(rowsOf({line("1", "T", "C", "Info", "a"), line("2", "T", "C", "Info", "b")}),
              (Lines{"1\tT\tC\tInfo\ta", "2\tT\tC\tInfo\tb"}));
}

TEST_F(PassRowsTest, StandAboveThoseOfThePassBefore)
{
    rowsOf({line("1", "T", "C", "Info", "a")});

    EXPECT_EQ(rowsOf({line("2", "T", "C", "Info", "b")}),
              (Lines{"2\tT\tC\tInfo\tb", "1\tT\tC\tInfo\ta"}));
}

TEST_F(PassRowsTest, HoldNothingOfAPassThatFailed)
{
    leaveUnpublished(line("1", "T", "C", "Info", "a"));

    EXPECT_EQ(rowsOf({line("2", "T", "C", "Info", "b")}), Lines{"2\tT\tC\tInfo\tb"});
}

TEST_F(PassRowsTest, AreNoneWithoutLines)
{
    EXPECT_EQ(rowsOf({}), Lines{});
}

TEST_F(PassRowsTest, HoldErrorsAndInfosOnlyUnlessAllAreShown)
{
    const std::vector lines{
        line("1", "T", "C", "Info", "a"),    line("2", "T", "C", "Error", "b"),
        line("3", "T", "C", "Warning", "c"), line("4", "T", "C", "info", "d"),
        line("5", "T", "C", "Info ", "e"),   line("6", "T", "C", "Errors", "f")};

    EXPECT_EQ(rowsOf(lines, ShownLines::errorsAndInfos),
              (Lines{"1\tT\tC\tInfo\ta", "2\tT\tC\tError\tb"}));
}

TEST_F(PassRowsTest, HoldEverySeverityWhenAllAreShown)
{
    EXPECT_EQ(rowsOf({line("1", "T", "C", "Warning", "a"), line("2", "T", "C", "?", "b")}),
              (Lines{"1\tT\tC\tWarning\ta", "2\tT\tC\t?\tb"}));
}

TEST_F(PassRowsTest, TakeEveryMissingTextFromTheNextLineThatHasIt)
{
    EXPECT_EQ(rowsOf({line("1", "", "", "Info", ""), line("2", "", "C2", "Info", ""),
                      line("3", "T3", "C3", "Info", "m3")}),
              (Lines{"1\tT3\tC2\tInfo\tm3", "2\tT3\tC2\tInfo\tm3", "3\tT3\tC3\tInfo\tm3"}));
}

TEST_F(PassRowsTest, TakeNoTextFromALineBeforeThem)
{
    EXPECT_EQ(rowsOf({line("1", "T", "C", "Info", "a"), line("2", "", "C", "Info", "b")}),
              Lines{"1\tT\tC\tInfo\ta"});
}

TEST_F(PassRowsTest, KeepWhatWasLentOnceWhenAnotherLineComes)
{
    EXPECT_EQ(rowsOf({line("1", "", "C", "Info", "a"), line("2", "T2", "C", "Info", "b"),
                      line("3", "T3", "C", "Info", "c")}),
              (Lines{"1\tT2\tC\tInfo\ta", "2\tT2\tC\tInfo\tb", "3\tT3\tC\tInfo\tc"}));
}

TEST_F(PassRowsTest, TakeTextsFromALineThatIsNotShown)
{
    EXPECT_EQ(rowsOf({line("1", "T", "C", "Info", ""), line("2", "T", "C", "Warning", "lent")},
                     ShownLines::errorsAndInfos),
              Lines{"1\tT\tC\tInfo\tlent"});
}

TEST_F(PassRowsTest, TakeTextsFromALineThatRanPastItsEnd)
{
    EXPECT_EQ(rowsOf({line("1", "", "C", "Info", "a"), cutOff(logTexts("2", "T2", "", "", "")),
                      line("3", "T3", "C", "Info", "c")}),
              (Lines{"1\tT2\tC\tInfo\ta", "3\tT3\tC\tInfo\tc"}));
}

TEST_F(PassRowsTest, AreNotMadeOfALineThatRanPastItsEnd)
{
    EXPECT_EQ(
        rowsOf({cutOff(logTexts("1", "T", "C", "Info", "")), line("2", "T", "C", "Info", "b")}),
        Lines{"2\tT\tC\tInfo\tb"});
}

TEST_F(PassRowsTest, AreJudgedByTheSeverityTheyAreLent)
{
    EXPECT_EQ(rowsOf({line("1", "T", "C", "", "a"), line("2", "T", "C", "Warning", "b"),
                      line("3", "T", "C", "", "c"), line("4", "T", "C", "Error", "d")},
                     ShownLines::errorsAndInfos),
              (Lines{"3\tT\tC\tError\tc", "4\tT\tC\tError\td"}));
}

TEST_F(PassRowsTest, AreNotLentATextByALaterPass)
{
    const Lines first = rowsOf({line("1", "", "C", "Info", "a")});

    const Lines second = rowsOf({line("2", "T", "C", "Info", "b")});

    EXPECT_EQ(first, Lines{});
    EXPECT_EQ(second, Lines{"2\tT\tC\tInfo\tb"});
}

TEST_F(PassRowsTest, FillManyGapsAtOnce)
{
    const std::vector<ScannedLine> gaps(10'000, line("1", "T", "C", "Info", ""));
    std::vector<ScannedLine> lines = gaps;
    lines.push_back(line("2", "T", "C", "Info", "lent"));

    const Lines rows = rowsOf(lines);

    ASSERT_EQ(rows.size(), lines.size());
    EXPECT_EQ(std::ranges::count(rows, "1\tT\tC\tInfo\tlent"), 10'000);
}

} // namespace
} // namespace veltra
