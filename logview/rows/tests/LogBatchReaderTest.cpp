#include "logview/rows/LogBatchReader.h"

#include "logview/rows/tests/LogTexts.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// What a reader returns for a file.
struct Contents {
    Lines lines;
    Lines rows; // of all lines except the first
    std::uint64_t offset = 0;

    friend bool operator==(const Contents&, const Contents&) = default;
};

// What a FileReader returns, line by line.
Contents contentsOf(FileReader& reader)
{
    Contents contents;
    while (const auto line = reader.readLine()) {
        const ScannedLine scanned = scanLogLine(*line);
        if (!contents.lines.empty() && carriesShownMark(*line, scanned))
            contents.rows.push_back(tabSeparatedRow(scanned.texts));
        contents.lines.emplace_back(*line);
    }
    contents.offset = reader.getCurrentOffset();
    return contents;
}

Contents contentsOf(LogBatchReader& batches)
{
    Contents contents;
    std::uint64_t offset = batches.getCurrentOffset();
    while (const LogBatch* batch = batches.next()) {
        EXPECT_FALSE(batch->block.lines.empty());
        EXPECT_EQ(batch->plainEnd, batch->block.lines.size());
        for (const std::string_view line : batch->block.lines) {
            contents.lines.emplace_back(line);
            offset += line.size();
        }
        EXPECT_EQ(batches.getCurrentOffset(), offset);
        for (const LogRows::Row& row : batch->rows)
            contents.rows.push_back(tabSeparatedRow(row.texts()));
    }
    contents.offset = batches.getCurrentOffset();
    return contents;
}

class LogBatchReaderTest : public testing::Test {
  protected:
    void expectWhatItsReaderGives(const std::string& bytes, std::uint64_t offset = 0)
    {
        folder_.write("log", bytes);
        const auto slow = FileReader::initWithFilePath(folder_.file("log"), offset);
        const auto fast = FileReader::initWithFilePath(folder_.file("log"), offset);

        LogBatchReader batches{*fast, rows_, ShownLines::all};

        EXPECT_TRUE(contentsOf(batches) == contentsOf(*slow));
        EXPECT_EQ(batches.next(), nullptr);
        EXPECT_EQ(batches.getCurrentOffset(), slow->getCurrentOffset());
    }

    const TemporaryFolder& folder() const { return folder_; }
    LogRows& rows() { return rows_; }

  private:
    TemporaryFolder folder_;
    LogRows rows_;
};

// Enough lines for several batches.
std::string linesOfAllLengths(std::size_t count = 10'000)
{
    std::mt19937 random{7};
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t length = i % 100 == 0 ? random() % 200'000 : random() % 300;
        bytes += logLine(i % 3 == 0 ? "Debug" : "Info",
                         std::string(1 + length, static_cast<char>('a' + i % 26)));
    }
    return bytes;
}

TEST_F(LogBatchReaderTest, GivesTheLinesOfItsReaderAndTheirRows)
{
    expectWhatItsReaderGives(linesOfAllLengths());
}

TEST_F(LogBatchReaderTest, GivesThoseOfASmallFile)
{
    expectWhatItsReaderGives(linesOfAllLengths(90));
}

TEST_F(LogBatchReaderTest, GivesALastLineWithoutBreak)
{
    expectWhatItsReaderGives(linesOfAllLengths() + "last");
    expectWhatItsReaderGives("only");
}

TEST_F(LogBatchReaderTest, BeginsWhereItsReaderStands)
{
    expectWhatItsReaderGives(linesOfAllLengths(), 100'001);
    expectWhatItsReaderGives(linesOfAllLengths(90), 101);
}

TEST_F(LogBatchReaderTest, GivesNothingOfAnEmptyFile)
{
    expectWhatItsReaderGives("");
}

TEST_F(LogBatchReaderTest, GivesALineThatIsLongerThanABatch)
{
    expectWhatItsReaderGives(std::string(5'000'000, 'x') + "\nnext\n");
}

TEST_F(LogBatchReaderTest, EndsBehindALineThatIsNotUtf8)
{
    expectWhatItsReaderGives(linesOfAllLengths() + "bad \xFF line\n" + linesOfAllLengths());
    expectWhatItsReaderGives(linesOfAllLengths(90) + "bad \xFF line\n" + linesOfAllLengths(90));
}

TEST_F(LogBatchReaderTest, EndsBehindAFirstLineThatIsNotUtf8)
{
    expectWhatItsReaderGives("bad \xFF line\nnext\n");
    expectWhatItsReaderGives("bad \xFF line\n" + linesOfAllLengths());
}

TEST_F(LogBatchReaderTest, NeedNotBeReadToItsEnd)
{
    folder().write("log", linesOfAllLengths());
    for (int batches = 0; batches < 20; ++batches) {
        const auto reader = FileReader::initWithFilePath(folder().file("log"));
        LogBatchReader begun{*reader, rows(), ShownLines::all};
        for (int i = 0; i < std::min(batches, 5); ++i)
            EXPECT_NE(begun.next(), nullptr);
    }
}

} // namespace
} // namespace veltra
