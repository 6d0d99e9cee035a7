#include "logview/rows/FileReader.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// The test's own file and readers of it.
class FileReaderTest : public testing::Test {
  protected:
    std::unique_ptr<FileReader> readerOf(std::string_view bytes, std::uint64_t offset = 0)
    {
        folder_.write("log", bytes);
        auto reader = FileReader::initWithFilePath(path(), offset);
        EXPECT_NE(reader, nullptr);
        return reader;
    }

    std::string path() const { return folder_.file("log"); }
    const TemporaryFolder& folder() const { return folder_; }

  private:
    TemporaryFolder folder_;
};

std::optional<std::string> nextLine(FileReader& reader)
{
    const auto line = reader.readLine();
    return line ? std::optional{std::string{*line}} : std::nullopt;
}

Lines linesOf(FileReader& reader)
{
    Lines lines;
    reader.enumerateLinesUsingBlock(
        [&lines](std::string_view line, bool&) { lines.emplace_back(line); });
    return lines;
}

TEST_F(FileReaderTest, BeginsAtTheFilesBeginningWithALineFeedAndTenBytes)
{
    folder().write("log", "a\n");

    const auto reader = FileReader::initWithFilePath(path());

    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->getCurrentOffset(), 0U);
    EXPECT_EQ(reader->lineDelimiter(), "\n");
    EXPECT_EQ(reader->chunkSize(), 10U);
    EXPECT_EQ(nextLine(*reader), "a\n");
}

TEST_F(FileReaderTest, ReturnsLineAfterLineWithDelimiterAndCountsTheOffset)
{
    const auto reader = readerOf("a\nbc\n");

    EXPECT_EQ(nextLine(*reader), "a\n");
    EXPECT_EQ(reader->getCurrentOffset(), 2U);
    EXPECT_EQ(nextLine(*reader), "bc\n");
    EXPECT_EQ(reader->getCurrentOffset(), 5U);
    EXPECT_EQ(nextLine(*reader), std::nullopt);
    EXPECT_EQ(reader->getCurrentOffset(), 5U);
}

TEST_F(FileReaderTest, ReturnsALastLineWithoutBreakAsItIs)
{
    const auto reader = readerOf("abc");

    EXPECT_EQ(nextLine(*reader), "abc");
    EXPECT_EQ(reader->getCurrentOffset(), 3U);
    EXPECT_EQ(nextLine(*reader), std::nullopt);
}

TEST_F(FileReaderTest, ResumesAtTheByteAfterTheDelimiter)
{
    const auto first = readerOf("first\nsecond\nthird\n");
    ASSERT_EQ(nextLine(*first), "first\n");

    const auto second = FileReader::initWithFilePath(path(), first->getCurrentOffset());

    ASSERT_NE(second, nullptr);
    EXPECT_EQ(linesOf(*second), (Lines{"second\n", "third\n"}));
}

TEST_F(FileReaderTest, ReturnsNothingAtTheFilesLength)
{
    const auto reader = readerOf("abc\n", 4);

    EXPECT_EQ(nextLine(*reader), std::nullopt);
    EXPECT_EQ(reader->getCurrentOffset(), 4U);
}

TEST_F(FileReaderTest, ReturnsNothingBehindTheFilesLengthAndStaysThere)
{
    for (const std::uint64_t offset :
         {std::uint64_t{5}, std::uint64_t{1} << 40, std::uint64_t{1} << 63, ~std::uint64_t{0}}) {
        const auto reader = readerOf("abc\n", offset);

        EXPECT_EQ(nextLine(*reader), std::nullopt);
        EXPECT_EQ(reader->getCurrentOffset(), offset);
    }
}

TEST_F(FileReaderTest, ReturnsALineLongerThanAChunkWhole)
{
    const auto reader = readerOf("0123456789abcdefghijklmnopqrstuvwxyz\nend\n");

    EXPECT_EQ(nextLine(*reader), "0123456789abcdefghijklmnopqrstuvwxyz\n");
    EXPECT_EQ(nextLine(*reader), "end\n");
}

TEST_F(FileReaderTest, ReturnsNothingOfAnEmptyFile)
{
    const auto reader = readerOf("");

    EXPECT_EQ(nextLine(*reader), std::nullopt);
    EXPECT_EQ(reader->getCurrentOffset(), 0U);
}

TEST_F(FileReaderTest, ReturnsTheSameLinesForEveryChunkSize)
{
    const std::string bytes = "\n\nshort\n0123456789\n01234567890\n\xC3\xA4\xC3\xB6\n"
                              "a line of more than forty bytes, as most lines are\nend";
    const Lines expected = linesOf(*readerOf(bytes));
    ASSERT_EQ(expected.size(), 8U);

    for (std::uint64_t chunkSize = 1; chunkSize <= 40; ++chunkSize) {
        const auto reader = readerOf(bytes);
        reader->setChunkSize(chunkSize);
        EXPECT_EQ(linesOf(*reader), expected) << chunkSize;
        EXPECT_EQ(reader->getCurrentOffset(), bytes.size()) << chunkSize;
    }
}

TEST_F(FileReaderTest, ReadsEmptyLines)
{
    const auto reader = readerOf("\n\n\n");

    EXPECT_EQ(linesOf(*reader), (Lines{"\n", "\n", "\n"}));
    EXPECT_EQ(reader->getCurrentOffset(), 3U);
}

TEST_F(FileReaderTest, KeepsCarriageReturns)
{
    const auto reader = readerOf("a\r\nb\r\n");

    EXPECT_EQ(linesOf(*reader), (Lines{"a\r\n", "b\r\n"}));
}

TEST_F(FileReaderTest, KeepsNulBytes)
{
    const std::string bytes{"a\0b\n\0\n", 6};
    const auto reader = readerOf(bytes);

    EXPECT_EQ(linesOf(*reader), (Lines{bytes.substr(0, 4), bytes.substr(4)}));
}

TEST_F(FileReaderTest, ReadsTextOutsideAsciiByTheByte)
{
    const auto reader = readerOf("Gr\xC3\xBC\xC3\x9F"
                                 "e\n\xF0\x9F\x98\x80\n");

    EXPECT_EQ(nextLine(*reader), "Gr\xC3\xBC\xC3\x9F"
                                 "e\n");
    EXPECT_EQ(reader->getCurrentOffset(), 8U);
    EXPECT_EQ(nextLine(*reader), "\xF0\x9F\x98\x80\n");
    EXPECT_EQ(reader->getCurrentOffset(), 13U);
}

TEST_F(FileReaderTest, ReturnsNothingForALineThatIsNotUtf8AndGoesOnBehindIt)
{
    const auto reader = readerOf("good\nb\xFF"
                                 "d\nlast\n");
    ASSERT_EQ(nextLine(*reader), "good\n");

    EXPECT_EQ(nextLine(*reader), std::nullopt);
    EXPECT_EQ(reader->getCurrentOffset(), 9U);
    EXPECT_EQ(nextLine(*reader), "last\n");
}

TEST_F(FileReaderTest, ReturnsALineBeforeOneThatBeginsInsideACharacter)
{
    const auto reader = readerOf("good\n\xA9 bad\nlast\n");

    EXPECT_EQ(nextLine(*reader), "good\n");
    EXPECT_EQ(nextLine(*reader), std::nullopt);
    EXPECT_EQ(nextLine(*reader), "last\n");
}

TEST_F(FileReaderTest, EndsAnEnumerationAtALineThatIsNotUtf8)
{
    const auto reader = readerOf("good\n\xC3\nlast\n");

    EXPECT_EQ(linesOf(*reader), Lines{"good\n"});
    EXPECT_EQ(reader->getCurrentOffset(), 7U);
    EXPECT_EQ(linesOf(*reader), Lines{"last\n"});
}

TEST_F(FileReaderTest, StopsAnEnumerationWhenTheBlockSaysSo)
{
    const auto reader = readerOf("a\nb\nc\n");
    Lines lines;

    reader->enumerateLinesUsingBlock([&lines](std::string_view line, bool& stop) {
        EXPECT_FALSE(stop);
        lines.emplace_back(line);
        stop = lines.size() == 2;
    });

    EXPECT_EQ(lines, (Lines{"a\n", "b\n"}));
    EXPECT_EQ(nextLine(*reader), "c\n");
}

TEST_F(FileReaderTest, EnumeratesNothingOfAnEmptyFile)
{
    EXPECT_EQ(linesOf(*readerOf("")), Lines{});
}

TEST_F(FileReaderTest, TrimsWhiteSpaceAndLineBreaksFromBothEnds)
{
    const auto reader = readerOf("  \t a b \r\n\xC2\xA0\xE3\x80\x80"
                                 "c\xE2\x80\xA9\n \n");

    EXPECT_EQ(reader->readTrimmedLine(), "a b");
    EXPECT_EQ(reader->readTrimmedLine(), "c");
    EXPECT_EQ(reader->readTrimmedLine(), "");
    EXPECT_EQ(reader->readTrimmedLine(), std::nullopt);
}

TEST_F(FileReaderTest, TrimsNothingOfALineThatIsNotUtf8)
{
    const auto reader = readerOf("\xFF\nnext\n");

    EXPECT_EQ(reader->readTrimmedLine(), std::nullopt);
    EXPECT_EQ(reader->readTrimmedLine(), "next");
}

TEST_F(FileReaderTest, EndsLinesAtAnotherDelimiterOfOneByte)
{
    const auto reader = readerOf("a\n;b;c");
    reader->setLineDelimiter(";");

    EXPECT_EQ(reader->lineDelimiter(), ";");
    EXPECT_EQ(linesOf(*reader), (Lines{"a\n;", "b;", "c"}));
}

TEST_F(FileReaderTest, MayChangeTheDelimiterBetweenLines)
{
    const auto reader = readerOf("a;b\nc\n");
    reader->setLineDelimiter(";");
    ASSERT_EQ(nextLine(*reader), "a;");

    reader->setLineDelimiter("\n");

    EXPECT_EQ(linesOf(*reader), (Lines{"b\n", "c\n"}));
}

TEST_F(FileReaderTest, EndsLinesAtADelimiterOfSeveralBytes)
{
    const auto reader = readerOf("ab\r\nc\r\nd");
    reader->setLineDelimiter("\r\n");

    EXPECT_EQ(nextLine(*reader), "ab\r\n");
    EXPECT_EQ(reader->getCurrentOffset(), 4U);
    EXPECT_EQ(nextLine(*reader), "c\r\n");
    EXPECT_EQ(reader->getCurrentOffset(), 7U);
    EXPECT_EQ(nextLine(*reader), "d");
}

TEST_F(FileReaderTest, TakesABeginningOfTheDelimiterAtAChunksEndForTheWhole)
{
    const auto reader = readerOf("123456789\r\nnext\r\n");
    reader->setLineDelimiter("\r\n");

    EXPECT_EQ(nextLine(*reader), "123456789\r");
    EXPECT_EQ(reader->getCurrentOffset(), 10U);
    EXPECT_EQ(nextLine(*reader), "\nnext\r\n");
}

TEST_F(FileReaderTest, EndsALineAtABeginningOfTheDelimiterEvenIfAnotherByteFollows)
{
    const auto reader = readerOf("123456789\rx\r\n");
    reader->setLineDelimiter("\r\n");

    EXPECT_EQ(linesOf(*reader), (Lines{"123456789\r", "x\r\n"}));
}

TEST_F(FileReaderTest, SearchesEveryChunkForTheDelimiterOnItsOwn)
{
    const auto reader = readerOf("aaab|aab|");
    reader->setLineDelimiter("aab");
    reader->setChunkSize(100);

    EXPECT_EQ(linesOf(*reader), (Lines{"aaab|aab", "|"}));
}

TEST_F(FileReaderTest, DecodesTheDelimiterAsUtf8)
{
    const auto reader = readerOf("a\xC2\xB6"
                                 "b\xC2\xB6");
    reader->setLineDelimiter("\xC2\xB6");

    EXPECT_EQ(linesOf(*reader), (Lines{"a\xC2\xB6", "b\xC2\xB6"}));
}

TEST_F(FileReaderTest, ReadsAllLinesWithAChunkSizeOfZero)
{
    const auto reader = readerOf("a\nb\n");
    reader->setChunkSize(0);

    EXPECT_EQ(linesOf(*reader), (Lines{"a\n", "b\n"}));
}

TEST_F(FileReaderTest, EndsAtOnceWithAChunkSizeOfZeroAndALongDelimiter)
{
    const auto reader = readerOf("a\r\nb\r\n");
    reader->setChunkSize(0);
    reader->setLineDelimiter("\r\n");

    EXPECT_EQ(nextLine(*reader), std::nullopt);
    EXPECT_EQ(reader->getCurrentOffset(), 0U);
}

TEST_F(FileReaderTest, ReadsTheWholeFileAsOneLineWithoutADelimiter)
{
    const auto reader = readerOf("a\nb\n0123456789");
    reader->setLineDelimiter("");

    EXPECT_EQ(linesOf(*reader), Lines{"a\nb\n0123456789"});
}

} // namespace
} // namespace veltra
