#include "logview/LineReadAhead.h"

#include "logview/tests/LogTexts.h"
#include "platform/tests/TemporaryFolder.h"

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::pair<std::string, std::uint64_t>>;

void expectScanned(const FileReader& /*reader*/, std::string_view /*line*/) {}

void expectScanned(const LineReadAhead& reader, std::string_view line)
{
    const ScannedLine expected = scanLogLine(line);
    EXPECT_EQ(reader.scannedLine().texts, expected.texts);
    EXPECT_EQ(reader.scannedLine().ranPastEnd, expected.ranPastEnd);
}

// All lines, each with the offset behind it, and the offset behind them all.
template <typename Reader>
Lines allLines(Reader& reader)
{
    Lines lines;
    while (const auto line = reader.readLine()) {
        lines.emplace_back(*line, reader.getCurrentOffset());
        expectScanned(reader, *line);
    }
    lines.emplace_back("", reader.getCurrentOffset());
    return lines;
}

class LineReadAheadTest : public testing::Test {
  protected:
    void expectWhatItsReaderGives(const std::string& bytes, std::uint64_t offset = 0) const
    {
        folder_.write("log", bytes);
        const auto slow = FileReader::initWithFilePath(folder_.file("log"), offset);
        const auto fast = FileReader::initWithFilePath(folder_.file("log"), offset);

        LineReadAhead ahead{*fast};

        const Lines lines = allLines(ahead);
        EXPECT_TRUE(lines == allLines(*slow));
        EXPECT_FALSE(ahead.readLine());
        EXPECT_EQ(ahead.getCurrentOffset(), lines.back().second);
    }

    TemporaryFolder folder_;
};

std::string linesOfAllLengths()
{
    std::mt19937 random{7};
    std::string bytes;
    for (std::size_t i = 0; i < 3'000; ++i) {
        const std::size_t length = i % 100 == 0 ? random() % 200'000 : random() % 300;
        bytes += logLine("Info", std::string(length, static_cast<char>('a' + i % 26)));
    }
    return bytes;
}

TEST_F(LineReadAheadTest, GivesTheLinesOfItsReader)
{
    expectWhatItsReaderGives(linesOfAllLengths());
}

TEST_F(LineReadAheadTest, GivesALastLineWithoutBreak)
{
    expectWhatItsReaderGives(linesOfAllLengths() + "last");
}

TEST_F(LineReadAheadTest, BeginsWhereItsReaderStands)
{
    expectWhatItsReaderGives(linesOfAllLengths(), 100'001);
}

TEST_F(LineReadAheadTest, GivesNothingOfAnEmptyFile)
{
    expectWhatItsReaderGives("");
}

TEST_F(LineReadAheadTest, GivesALineThatIsLongerThanABatch)
{
    expectWhatItsReaderGives(std::string(5'000'000, 'x') + "\nnext\n");
}

TEST_F(LineReadAheadTest, EndsBehindALineThatIsNotUtf8)
{
    expectWhatItsReaderGives(linesOfAllLengths() + "bad \xFF line\n" + linesOfAllLengths());
}

TEST_F(LineReadAheadTest, EndsBehindAFirstLineThatIsNotUtf8)
{
    expectWhatItsReaderGives("bad \xFF line\nnext\n");
}

TEST_F(LineReadAheadTest, NeedNotBeReadToItsEnd)
{
    folder_.write("log", linesOfAllLengths());
    for (int lines = 0; lines < 200; ++lines) {
        const auto reader = FileReader::initWithFilePath(folder_.file("log"));
        LineReadAhead ahead{*reader};
        for (int i = 0; i < lines; ++i)
            EXPECT_TRUE(ahead.readLine());
    }
}

} // namespace
} // namespace veltra
