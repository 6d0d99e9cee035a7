#include "logview/rows/LogPass.h"

#include "logview/rows/tests/FailingMemory.h"
#include "logview/rows/tests/LogTexts.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/log/tests/RecordedLog.h"

#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

const std::string errorText = "the error is Range or index out of bounds";
const std::string first = logLine("Info", "the first of a pass");

/// A log file, the table's rows, and the passes between them.
class LogPassTest : public testing::Test {
  protected:
    /// Appends to the log and runs a pass; returns the whole table, top row first.
    Lines append(std::string_view bytes, ShownLines shown = ShownLines::errorsAndInfos)
    {
        folder_.append("log", bytes);
        return pass(shown);
    }

    Lines pass(ShownLines shown = ShownLines::errorsAndInfos)
    {
        offset_ = runLogPass(rows_, path(), offset_, shown);
        return rowsFromTheTop(rows_);
    }

    std::string path() const { return folder_.file("log"); }
    const TemporaryFolder& folder() const { return folder_; }
    std::uint64_t offset() const { return offset_; }
    RecordedLog& log() { return log_; }
    LogRows& rows() { return rows_; }

  private:
    TemporaryFolder folder_;
    RecordedLog log_;
    LogRows rows_;
    std::uint64_t offset_ = 0;
};

TEST_F(LogPassTest, ShowsAllLinesButItsFirstInFileOrder)
{
    EXPECT_EQ(append(logLine("Info", "A") + logLine("Info", "B") + logLine("Info", "C")),
              (Lines{logRow("Info", "B"), logRow("Info", "C")}));
}

TEST_F(LogPassTest, ShowsNothingOfASingleLineButMovesPastIt)
{
    EXPECT_EQ(append(first), Lines{});
    EXPECT_EQ(offset(), first.size());
}

TEST_F(LogPassTest, PutsItsRowsAboveThoseOfEarlierPasses)
{
    append(first + logLine("Info", "a") + logLine("Info", "b"));

    EXPECT_EQ(append(first + logLine("Info", "c") + logLine("Info", "d")),
              (Lines{logRow("Info", "c"), logRow("Info", "d"), logRow("Info", "a"),
                     logRow("Info", "b")}));
}

TEST_F(LogPassTest, LeavesTheTableAsItIsWhenNothingWasAppended)
{
    const Lines before = append(first + logLine("Info", "a"));

    EXPECT_EQ(pass(), before);
    EXPECT_EQ(pass(), before);
    EXPECT_EQ(log().messages().size(), 2U);
}

TEST_F(LogPassTest, TakesAWellFormedLineApart)
{
    EXPECT_EQ(append(first + "2024-03-05 10:22:33.456 (1234.5678) vxsvc.Info: Agent started\n"),
              Lines{"2024-03-05\t10:22:33\tvxsvc\tInfo\tAgent started"});
}

TEST_F(LogPassTest, ShowsAWarningOnlyWhenAllLinesAreShown)
{
    EXPECT_EQ(append(first + logLine("Warning", "w")), Lines{});
    EXPECT_EQ(append(first + logLine("Warning", "w"), ShownLines::all),
              Lines{logRow("Warning", "w")});
}

TEST_F(LogPassTest, NeverShowsAnErrorWithoutAMarkInItsMessage)
{
    EXPECT_EQ(append(first + logLine("Error", "e")), Lines{});
    EXPECT_EQ(append(first + logLine("Error", "e"), ShownLines::all), Lines{});
    EXPECT_EQ(log().complaints(), Lines{});
}

TEST_F(LogPassTest, ShowsAnErrorWhoseMessageHoldsAMark)
{
    EXPECT_EQ(append(first + logLine("Error", "see Info: below")),
              Lines{logRow("Error", "see Info: below")});
    EXPECT_EQ(append(first + logLine("Error", "Warning:")).front(), logRow("Error", "Warning:"));
}

TEST_F(LogPassTest, ShowsAnInfoInLowerCaseOnlyWhenAllLinesAreShown)
{
    const std::string line = logLine("info", "an Info: inside");

    EXPECT_EQ(append(first + line), Lines{});
    EXPECT_EQ(append(first + line, ShownLines::all), Lines{logRow("info", "an Info: inside")});
}

TEST_F(LogPassTest, PassesOverLinesWithoutAMarkWithoutAComplaint)
{
    EXPECT_EQ(append(first + "nothing here\n\n" + logLine("info", "x") + logLine("Debug", "x") +
                         logLine("INFO", "x") + logLine("Info ", "x") + logLine("warning", "x"),
                     ShownLines::all),
              Lines{});
    EXPECT_EQ(log().complaints(), Lines{});
}

TEST_F(LogPassTest, FindsAMarkAsPartOfAWord)
{
    EXPECT_EQ(append(first + logLine("MyInfo", "x") + logLine("NoWarning", "x"), ShownLines::all),
              (Lines{logRow("MyInfo", "x"), logRow("NoWarning", "x")}));
}

TEST_F(LogPassTest, FindsAMarkBehindOtherColons)
{
    EXPECT_EQ(append(first + logLine("Note", ": a:Info b: Info:"), ShownLines::all),
              Lines{logRow("Note", ": a:Info b: Info:")});
}

TEST_F(LogPassTest, LogsALineThatCannotBeParsedAndGoesOn)
{
    EXPECT_EQ(append(first + "Info:\n" + logLine("Info", "a")), Lines{logRow("Info", "a")});
    EXPECT_EQ(log().complaints(), Lines{errorText});
}

TEST_F(LogPassTest, LogsEveryLineThatCannotBeParsed)
{
    append(first + "Info:a\nInfo:b c\nWarning: d.e\n" + logLine("Info", "a") + "x Info:");

    EXPECT_EQ(log().complaints(), Lines(4, errorText));
}

TEST_F(LogPassTest, LogsEveryLineItReadsWithItsLineBreakBeforeItParsesAny)
{
    append("one\nInfo:two\n\nthree");

    EXPECT_EQ(log().messages(), (Lines{"read line: one\n", "read line: Info:two\n", "read line: \n",
                                       "read line: three", errorText}));
}

TEST_F(LogPassTest, DoesNotEvenParseItsFirstLine)
{
    EXPECT_EQ(append("Info:no separators\n"), Lines{});
    EXPECT_EQ(log().complaints(), Lines{});
}

TEST_F(LogPassTest, CountsAnEmptyLineAsItsFirst)
{
    EXPECT_EQ(append("\n" + logLine("Info", "a")), Lines{logRow("Info", "a")});
}

TEST_F(LogPassTest, CountsALineWithoutAMarkAsItsFirst)
{
    EXPECT_EQ(append("no mark\n" + logLine("Info", "a")), Lines{logRow("Info", "a")});
}

TEST_F(LogPassTest, TakesALastLineWithoutBreak)
{
    EXPECT_EQ(append(first + "D T.f t C.Info: half"), Lines{"D\tT\tC\tInfo\thalf"});
}

TEST_F(LogPassTest, TakesTheRestOfAHalfLineAsItsFirstLine)
{
    append(first + "D T.f t C.Info: half");

    EXPECT_EQ(append(" a line\n" + logLine("Info", "a")),
              (Lines{logRow("Info", "a"), "D\tT\tC\tInfo\thalf"}));
}

TEST_F(LogPassTest, LendsALineWhatItLacksFromTheLineBehindIt)
{
    EXPECT_EQ(append(first + "1 T1.f t C1.Info:\n" + "2 .f t C2.Info:two\n" +
                     "3 T3.f t .Info:three\n" + "4 T4.f t C4.Info:four\n"),
              (Lines{"1\tT1\tC1\tInfo\ttwo", "2\tT3\tC2\tInfo\ttwo", "3\tT3\tC4\tInfo\tthree",
                     "4\tT4\tC4\tInfo\tfour"}));
}

TEST_F(LogPassTest, DropsALineWhoseGapNobodyFills)
{
    EXPECT_EQ(append(first + logLine("Info", "a") + "2 T2.f t C2.Info:\n"),
              Lines{logRow("Info", "a")});
    EXPECT_EQ(log().complaints(), Lines{});
}

TEST_F(LogPassTest, LendsNothingFromALineWithoutAMark)
{
    EXPECT_EQ(append(first + "1 T1.f t C1.Info:\n" + "2 T2.f t C2.Debug:two\n"), Lines{});
}

TEST_F(LogPassTest, LendsTextsFromALineThatCannotBeParsed)
{
    EXPECT_EQ(append(first + "1 .f t C1.Info:one\n" + "2 T2.Info:\n"),
              Lines{"1\tT2\tC1\tInfo\tone"});
    EXPECT_EQ(log().complaints(), Lines{errorText});
}

TEST_F(LogPassTest, LendsTextsFromALineThatIsNotShown)
{
    EXPECT_EQ(append(first + "1 T1.f t C1.Info:\n" + "2 T2.f t C2.Warning:lent\n"),
              Lines{"1\tT1\tC1\tInfo\tlent"});
}

TEST_F(LogPassTest, LendsNothingFromItsFirstLine)
{
    EXPECT_EQ(append(first + "1 T1.f t C1.Info:\n"), Lines{});
}

TEST_F(LogPassTest, LendsNothingFromOnePassToAnother)
{
    append(first + logLine("Info", "a"));

    EXPECT_EQ(append(first + "1 T1.f t C1.Info:\n"), Lines{logRow("Info", "a")});
}

TEST_F(LogPassTest, JudgesALineByTheSeverityItIsLent)
{
    const std::string lines = first + "1 T.f t C.:Info:\n" + "2 T.f t C.Warning:two\n";

    EXPECT_EQ(append(lines), Lines{});
    EXPECT_EQ(append(lines, ShownLines::all),
              (Lines{"1\tT\tC\tWarning\tInfo:", "2\tT\tC\tWarning\ttwo"}));
}

TEST_F(LogPassTest, EndsAtALineThatIsNotUtf8AndGoesOnBehindItNextTime)
{
    const std::string before = first + logLine("Info", "a") + "\xFF Info:\n";

    EXPECT_EQ(append(before + first + logLine("Info", "b")), Lines{logRow("Info", "a")});
    EXPECT_EQ(offset(), before.size());
    EXPECT_EQ(pass(), (Lines{logRow("Info", "b"), logRow("Info", "a")}));
}

TEST_F(LogPassTest, EndsWhenMemoryRunsOutAndGoesOnBehindWhatItHasRead)
{
    constexpr std::size_t count = 12'000; // two batches; their rows need several blocks
    append(first + logLine("Info", "before"));
    std::string lines;
    while (lines.size() < 60 * count)
        lines += logLine("Info", "one of many");
    folder().append("log", lines);

    blocksLeft = 1;
    const Lines afterFailure = pass();
    blocksLeft = unlimitedBlocks;
    const std::uint64_t reached = offset();
    append(first + logLine("Info", "after"));

    EXPECT_GT(reached, lines.size() / 2);
    EXPECT_EQ(afterFailure.back(), logRow("Info", "before"));
    EXPECT_EQ(rowsFromTheTop(rows()).back(), logRow("Info", "before"));
    EXPECT_EQ(offset(), std::filesystem::file_size(path()));
    std::size_t read = 0;
    std::size_t errors = 0;
    for (const std::string& message : log().messages()) {
        read += message.starts_with("read line: ") ? message.size() - 11 : 0;
        errors += message == "the error is std::bad_alloc" ? 1 : 0;
    }
    EXPECT_EQ(read, offset());
    EXPECT_GE(errors, 1U);
}

TEST_F(LogPassTest, MovesPastAFirstLineThatIsNotUtf8WithoutLoggingIt)
{
    EXPECT_EQ(append("\xC3\n" + logLine("Info", "a")), Lines{});
    EXPECT_EQ(offset(), 2U);
    EXPECT_EQ(log().messages(), Lines{});
}

TEST_F(LogPassTest, ReadsNothingOfAFileThatBecameShorter)
{
    const Lines before = append(first + logLine("Info", "a"));
    const std::uint64_t reached = offset();
    folder().write("log", first);

    EXPECT_EQ(pass(), before);
    EXPECT_EQ(offset(), reached);
}

TEST_F(LogPassTest, GoesOnInsideAFileThatBecameLongAgain)
{
    append(first + logLine("Info", "a"));
    folder().write("log",
                   std::string(offset() - 4, 'x') + "Info" + ": cut\n" + logLine("Info", "b"));

    EXPECT_EQ(pass(), (Lines{logRow("Info", "b"), logRow("Info", "a")}));
}

TEST_F(LogPassTest, LogsThatThereIsNoFile)
{
    EXPECT_EQ(pass(), Lines{});
    EXPECT_EQ(log().messages(), Lines{"No vxsvc log file present"});
}

TEST_F(LogPassTest, KeepsItsPlaceWhileThereIsNoFile)
{
    append(first);
    std::filesystem::remove(path());

    pass();

    EXPECT_EQ(offset(), first.size());
}

TEST_F(LogPassTest, LogsThatThereIsNoFileBehindALink)
{
    std::filesystem::create_symlink("nowhere", path());

    pass();

    EXPECT_EQ(log().messages(), Lines{"No vxsvc log file present"});
}

TEST_F(LogPassTest, LogsThatAFolderCannotBeRead)
{
    append(first);
    std::filesystem::remove(path());
    std::filesystem::create_directory(path());

    EXPECT_EQ(pass(), Lines{});
    EXPECT_EQ(log().complaints(), Lines{"No logs available to parse"});
    EXPECT_EQ(offset(), first.size());
}

TEST_F(LogPassTest, ReadsAnEmptyFileWithoutAWord)
{
    EXPECT_EQ(append(""), Lines{});
    EXPECT_EQ(log().messages(), Lines{});
}

TEST_F(LogPassTest, ShowsTextOutsideAsciiAndNulBytes)
{
    const std::string message{"\xC3\xA4\0\xF0\x9F\x98\x80", 7};

    EXPECT_EQ(append(first + logLine("Info", message)), Lines{logRow("Info", message)});
}

TEST_F(LogPassTest, ShowsALineOfManyMegabytes)
{
    const std::string message(std::size_t{5} << 20, 'm');

    EXPECT_TRUE(append(first + logLine("Info", message)) == Lines{logRow("Info", message)});
}

TEST_F(LogPassTest, EndsSoonWhenAskedToStop)
{
    std::stop_source stop;
    stop.request_stop();
    // The larger one is read on other threads.
    for (const int lines : {1'000, 100'000}) {
        std::string bytes;
        for (int i = 0; i < lines; ++i)
            bytes += first;
        folder().write("log", bytes);

        const auto reached = runLogPass(rows(), path(), 0, ShownLines::all, stop.get_token());

        EXPECT_LE(reached, 10 * first.size());
    }
    EXPECT_LE(log().messages().size(), 20U);
    EXPECT_EQ(rows().count(), 0U);
}

} // namespace
} // namespace veltra
