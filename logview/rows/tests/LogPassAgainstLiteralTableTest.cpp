// Compares passes over thousands of random logs with those of LiteralLogTable.

#include "logview/rows/LogPass.h"
#include "logview/rows/tests/LiteralLogTable.h"
#include "logview/rows/tests/LogTexts.h"
#include "platform/base/tests/FileInMemory.h"
#include "platform/log/tests/RecordedLog.h"

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// Makes logs from only a few words, so that things that are rare in real logs happen often.
class LogMaker {
  public:
    explicit LogMaker(unsigned seed) : random_{seed} {}

    /// What an agent might append between two passes.
    std::string piece()
    {
        std::string bytes;
        for (unsigned lines = below(12); lines > 0; --lines) {
            bytes += below(3) == 0 ? jumble() : line();
            if (bytes.ends_with('\n') && once(100))
                bytes += insideCharacter();
        }
        return bytes;
    }

    /// A byte that cannot begin a character.
    char insideCharacter() { return static_cast<char>(0x80 + below(0x40)); }

    bool once(unsigned in) { return below(in) == 0; }
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }

  private:
    // A well-formed line, except for parts that are randomly missing, doubled or replaced.
    std::string line()
    {
        const std::array<std::string, 13> pieces{number(),        " ", word(), ".", word(),     " ",
                                                 word(),          " ", word(), ".", severity(), ":",
                                                 message() + "\n"};
        const unsigned mishaps = once(2) ? 12 : 100;
        std::string bytes;
        for (const std::string& part : pieces) {
            switch (below(mishaps)) {
            case 0:
                break;
            case 1:
                bytes += part + part;
                break;
            case 2:
                bytes += token();
                break;
            default:
                bytes += part;
            }
        }
        return bytes;
    }

    std::string jumble()
    {
        std::string bytes;
        for (unsigned tokens = below(18); tokens > 0; --tokens)
            bytes += token();
        return bytes;
    }

    // Makes the lines distinguishable.
    std::string number() { return std::to_string(++line_); }
    std::string word() { return once(8) ? std::string{} : once(3) ? number() : "x"; }
    std::string message() { return once(4) ? std::string{} : token() + number() + token(); }

    std::string severity()
    {
        static const std::array<std::string, 8> all{"Info",  "Info", "Info",  "Warning",
                                                    "Error", "info", "Error", ""};
        return all[below(all.size())];
    }

    std::string token()
    {
        static const std::array<std::string, 23> all{"Info:",
                                                     "Warning:",
                                                     "Error:",
                                                     "Info",
                                                     "Info: ",
                                                     "Error",
                                                     " ",
                                                     " ",
                                                     ".",
                                                     ".",
                                                     ":",
                                                     ":",
                                                     "\n",
                                                     "x",
                                                     "\xC3\xA9",
                                                     std::string{'\0'},
                                                     "\t",
                                                     "\r\n",
                                                     "\\",
                                                     "\xC2\xA0",
                                                     "\xE2\x80\xA8",
                                                     "\xE2\x80\x85",
                                                     "\xF0\x9F\x98\x80"};
        return once(400) ? "\xFF" : all[below(all.size())];
    }

    std::mt19937 random_;
    unsigned line_ = 0;
};

/// Counts what the compared passes did, to make sure that the comparison was meaningful.
struct Seen {
    std::size_t rows = 0;
    std::size_t errors = 0;
    std::size_t passesEndedEarly = 0;
};

// Replaces the bytes that LogMaker spoils lines with.
std::string withoutSpoiltLines(std::string bytes)
{
    char before = '\n';
    for (char& byte : bytes) {
        const bool cannotBegin = (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
        if (byte == '\xFF' || (before == '\n' && cannotBegin))
            byte = 'x';
        before = byte;
    }
    return bytes;
}

std::string readable(const std::string& bytes)
{
    return testing::PrintToString(bytes);
}

/// Several passes of both kinds over one growing log.
void comparePasses(unsigned seed, const FileInMemory& file, RecordedLog& log, Seen& seen,
                   std::size_t& logged)
{
    LogMaker maker{seed};
    LogRows rows;
    LiteralLogTable literal;
    std::uint64_t offset = 0;
    std::string bytes;
    file.write(bytes);
    const bool showAllLogs = maker.once(2);

    for (unsigned passes = 1 + maker.below(4); passes > 0; --passes) {
        if (maker.once(30))
            bytes.resize(bytes.size() / 2);
        bytes += maker.piece();
        file.write(bytes);
        literal.updatelogs(bytes, showAllLogs);
        offset = runLogPass(rows, file.path(), offset,
                            showAllLogs ? ShownLines::all : ShownLines::errorsAndInfos);
        ASSERT_EQ(offset, literal.offset()) << readable(bytes);
        ASSERT_EQ(rowsFromTheTop(rows), literal.rows())
            << readable(bytes) << (showAllLogs ? " all" : "");
        seen.passesEndedEarly += offset < bytes.size() ? 1 : 0;
    }
    const Lines all = log.messages();
    const Lines ownOnes{all.begin() + static_cast<std::ptrdiff_t>(logged), all.end()};
    ASSERT_EQ(ownOnes, literal.log()) << readable(bytes);
    logged = all.size();
    seen.rows += rows.count();
    seen.errors += static_cast<std::size_t>(std::ranges::count_if(
        ownOnes, [](const auto& message) { return message.starts_with("the error is "); }));
}

/// Passes over a log that is large enough to be read by other threads.
void compareLargeLog(const std::string& bytes)
{
    const FileInMemory file;
    RecordedLog log;
    LogRows rows;
    LiteralLogTable literal;
    std::uint64_t offset = 0;
    file.write(bytes);

    // Anything after a line that is not valid text is left for the next pass.
    for (int passes = 0; passes < 5 && offset < bytes.size(); ++passes) {
        literal.updatelogs(bytes, true);
        offset = runLogPass(rows, file.path(), offset, ShownLines::all);
        ASSERT_EQ(offset, literal.offset());
    }
    EXPECT_TRUE(rowsFromTheTop(rows) == literal.rows());
    EXPECT_TRUE(log.messages() == literal.log());
    EXPECT_GT(rows.count(), 0U);
}

TEST(LogPassAgainstLiteralTable, ShowsTheSameRowsAndLogsTheSameMessagesForALargeLog)
{
    LogMaker maker{1};
    std::string bytes;
    while (bytes.size() < std::size_t{1'200'000})
        bytes += maker.piece() + logLine("Info", std::string(2'000, 'm'));
    compareLargeLog(bytes);

    compareLargeLog(withoutSpoiltLines(std::move(bytes)));
}

// A pass reads half a megabyte at a time. The line across that border is the last one before a line
// that ends the pass.
TEST(LogPassAgainstLiteralTable, ShowsTheSameRowsIfLinesAtABlocksBorderBeginInsideACharacter)
{
    constexpr std::size_t block = std::size_t{512} << 10;
    LogMaker maker{2};
    std::string bytes;
    for (int passes = 0; passes < 3; ++passes) {
        const std::size_t border = bytes.size() + block;
        while (bytes.size() <= border)
            bytes += logLine("Info", std::string(1 + maker.below(300), 'm'));
        bytes += maker.insideCharacter() + logLine("Info", "ends the pass");
    }
    bytes += std::string(2 * block, 'm') + "\n" + logLine("Info", "last");

    compareLargeLog(bytes);
}

// The lines are processed in batches of half a megabyte, most of them in advance.
TEST(LogPassAgainstLiteralTable, ShowsTheSameRowsWhereverAGapStands)
{
    for (const std::size_t every : {3U, 5U, 50U}) {
        std::string bytes;
        for (std::size_t line = 1; bytes.size() < std::size_t{4'000'000}; ++line) {
            const std::string number = std::to_string(line);
            bytes += logLine("Info", line % every == 0 ? "" : number + std::string(60'000, 'm'));
        }
        compareLargeLog(bytes);
    }
}

TEST(LogPassAgainstLiteralTable, ShowsTheSameRowsAndLogsTheSameMessagesForRandomLogs)
{
    constexpr unsigned logs = 5000;
    constexpr unsigned logsPerRecording = 50;
    const FileInMemory file;
    Seen seen;

    for (unsigned seed = 0; seed < logs;) {
        RecordedLog log;
        std::size_t logged = 0;
        for (const unsigned end = seed + logsPerRecording; seed < end; ++seed) {
            SCOPED_TRACE(seed);
            comparePasses(seed, file, log, seen, logged);
            if (HasFatalFailure())
                return;
        }
    }

    EXPECT_GT(seen.rows, logs);
    EXPECT_GT(seen.errors, logs);
    EXPECT_GT(seen.passesEndedEarly, logs / 100);
}

} // namespace
} // namespace veltra
