#include "logview/rows/FileReader.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

class FileReaderBlocks : public testing::Test {
  protected:
    std::unique_ptr<FileReader> readerOf(std::string_view bytes)
    {
        folder_.write("log", bytes);
        return FileReader::initWithFilePath(folder_.file("log"));
    }

  private:
    TemporaryFolder folder_;
};

Lines copyOf(const LineBlock& block)
{
    return {block.lines.begin(), block.lines.end()};
}

TEST_F(FileReaderBlocks, ReadsManyLinesAtATime)
{
    const auto reader = readerOf("a\nb\n\nlast");
    LineBlock block;

    EXPECT_TRUE(reader->readLines(block));
    EXPECT_EQ(copyOf(block), (Lines{"a\n", "b\n", "\n"}));
    EXPECT_EQ(reader->getCurrentOffset(), 5U);

    EXPECT_TRUE(reader->readLines(block));
    EXPECT_EQ(copyOf(block), Lines{"last"});

    EXPECT_FALSE(reader->readLines(block));
    EXPECT_EQ(copyOf(block), Lines{});
    EXPECT_EQ(reader->getCurrentOffset(), 9U);
}

TEST_F(FileReaderBlocks, EndsABlockInFrontOfALineThatIsNotUtf8)
{
    const auto reader = readerOf("a\n\xFF\nb\n");
    LineBlock block;

    EXPECT_TRUE(reader->readLines(block));
    EXPECT_EQ(copyOf(block), Lines{"a\n"});
    EXPECT_EQ(reader->getCurrentOffset(), 2U);

    EXPECT_FALSE(reader->readLines(block));
    EXPECT_EQ(reader->getCurrentOffset(), 4U);

    EXPECT_TRUE(reader->readLines(block));
    EXPECT_EQ(copyOf(block), Lines{"b\n"});
}

TEST_F(FileReaderBlocks, LeavesABlocksLinesWhereTheyAre)
{
    const auto reader = readerOf("a\nbc");
    LineBlock block;
    ASSERT_TRUE(reader->readLines(block));
    LineBlock next;

    ASSERT_TRUE(reader->readLines(next));

    EXPECT_EQ(copyOf(block), Lines{"a\n"});
    EXPECT_EQ(copyOf(next), Lines{"bc"});
}

TEST_F(FileReaderBlocks, ReadsBlocksWithAnyDelimiter)
{
    // The second is the first byte of a two-byte character.
    for (const std::string delimiter : {";", "\xC3", "::", "\xC3\xA4"}) {
        const auto lines = readerOf("a;b::c\xC3\xA4"
                                    "d;e::f\xC3\xA4;g");
        const auto blocks = readerOf("a;b::c\xC3\xA4"
                                     "d;e::f\xC3\xA4;g");
        lines->setLineDelimiter(delimiter);
        blocks->setLineDelimiter(delimiter);
        Lines fromLines;
        Lines fromBlocks;

        while (const auto line = lines->readLine())
            fromLines.emplace_back(*line);
        for (LineBlock block; blocks->readLines(block);)
            for (const std::string_view line : block.lines)
                fromBlocks.emplace_back(line);

        EXPECT_EQ(fromBlocks, fromLines) << delimiter;
        EXPECT_EQ(blocks->getCurrentOffset(), lines->getCurrentOffset()) << delimiter;
    }
}

} // namespace
} // namespace veltra
