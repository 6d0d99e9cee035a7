// How FileReader handles files that are large, change while they are read, or are not files.

#include "logview/rows/FileReader.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <future>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

// The simple way: reads the file's bytes a chunk at a time and searches them without going back.
std::vector<std::string> linesTheSlowWay(const std::string& bytes, const std::string& delimiter,
                                         std::size_t chunkSize)
{
    std::vector<std::string> lines;
    std::size_t offset = 0;
    while (offset < bytes.size()) {
        std::string line;
        bool isComplete = false;
        while (!isComplete && offset < bytes.size()) {
            std::string chunk = bytes.substr(offset, chunkSize);
            std::size_t location = std::string::npos;
            std::size_t matched = 0;
            for (std::size_t i = 0; i < chunk.size(); ++i) {
                if (chunk[i] != delimiter[matched]) {
                    location = std::string::npos;
                    matched = 0;
                    continue;
                }
                if (location == std::string::npos)
                    location = i;
                if (++matched >= delimiter.size())
                    break;
            }
            if (location != std::string::npos) {
                chunk = chunk.substr(0, location + delimiter.size());
                isComplete = true;
            }
            line += chunk;
            offset += chunk.size();
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> linesReadFrom(FileReader& reader)
{
    std::vector<std::string> lines;
    while (const auto line = reader.readLine())
        lines.emplace_back(*line);
    return lines;
}

std::size_t openDescriptors()
{
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator{"/proc/self/fd"}, fs::directory_iterator{}));
}

TEST(FileReaderFiles, MatchesTheByteByByteSearchForEveryDelimiterAndChunkSize)
{
    const TemporaryFolder folder;
    std::string bytes;
    for (unsigned i = 0, state = 12345; i < 400; ++i) {
        state = state * 1103515245 + 12345;
        bytes += "aab\r\n|"[(state >> 16) % 6];
    }
    folder.write("log", bytes);

    for (const std::string delimiter : {"\n", "\r\n", "aab", "aa", "||"}) {
        for (std::size_t chunkSize = 1; chunkSize <= 40; ++chunkSize) {
            const auto reader = FileReader::initWithFilePath(folder.file("log"));
            ASSERT_NE(reader, nullptr);
            reader->setLineDelimiter(delimiter);
            reader->setChunkSize(chunkSize);
            ASSERT_EQ(linesReadFrom(*reader), linesTheSlowWay(bytes, delimiter, chunkSize))
                << delimiter << " in chunks of " << chunkSize;
        }
    }
}

TEST(FileReaderFiles, ReadsLinesAcrossEveryBorderOfItsBuffer)
{
    const TemporaryFolder folder;
    std::string bytes;
    for (int i = 0; bytes.size() < 3U << 20; ++i)
        bytes += std::to_string(i) + std::string(static_cast<std::size_t>(i % 97), 'x') + "\n";
    folder.write("log", bytes);
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    std::string joined;
    while (const auto line = reader->readLine()) {
        ASSERT_EQ(line->find('\n'), line->size() - 1);
        joined += *line;
        ASSERT_EQ(reader->getCurrentOffset(), joined.size());
    }

    EXPECT_TRUE(joined == bytes);
}

TEST(FileReaderFiles, ReadsLinesLongerThanItsBuffer)
{
    const TemporaryFolder folder;
    const std::string megabyte(1 << 20, 'm');
    folder.write("log", "before\n" + megabyte + "\nbetween\n" + megabyte + megabyte + "\nafter\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    const auto lines = linesReadFrom(*reader);

    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], "before\n");
    EXPECT_TRUE(lines[1] == megabyte + "\n");
    EXPECT_EQ(lines[2], "between\n");
    EXPECT_TRUE(lines[3] == megabyte + megabyte + "\n");
    EXPECT_EQ(lines[4], "after\n");
}

TEST(FileReaderFiles, ReadsALineOfAHundredMegabytes)
{
    const TemporaryFolder folder;
    constexpr std::size_t length = 100'000'000;
    folder.write("log", std::string(length, 'l') + "\nend\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    const auto line = reader->readLine();

    ASSERT_TRUE(line);
    EXPECT_EQ(line->size(), length + 1);
    EXPECT_EQ(std::ranges::count(*line, 'l'), static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(reader->readLine(), "end\n");
}

TEST(FileReaderFiles, ReadsALongLineInChunksWithALongDelimiter)
{
    const TemporaryFolder folder;
    const std::string megabyte(1 << 20, 'm');
    folder.write("log", megabyte + "\r\nend\r\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);
    reader->setLineDelimiter("\r\n");

    EXPECT_TRUE(reader->readLine() == megabyte + "\r\n");
    EXPECT_EQ(reader->readLine(), "end\r\n");
}

TEST(FileReaderFiles, DoesNotReadWhatIsAppendedAfterItWasMade)
{
    const TemporaryFolder folder;
    folder.write("log", "old\nhalf");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    folder.append("log", " a line\nnew\n");

    EXPECT_EQ(linesReadFrom(*reader), (std::vector<std::string>{"old\n", "half"}));
    EXPECT_EQ(reader->getCurrentOffset(), 8U);
}

TEST(FileReaderFiles, DoesNotReadWhatIsAppendedToALongFileEither)
{
    const TemporaryFolder folder;
    const std::string bytes = std::string(300'000, 'x') + "\nhalf";
    folder.write("log", bytes);
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    folder.append("log", " a line\nnew\n");

    EXPECT_EQ(linesReadFrom(*reader), (std::vector<std::string>{bytes.substr(0, 300'001), "half"}));
    EXPECT_EQ(reader->getCurrentOffset(), bytes.size());
}

TEST(FileReaderFiles, EndsWhenTheFileWasEmptiedMeanwhile)
{
    const TemporaryFolder folder;
    folder.write("log", "a\nb\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    folder.write("log", "");

    EXPECT_EQ(reader->readLine(), std::nullopt);
    EXPECT_EQ(reader->readLine(), std::nullopt);
    EXPECT_EQ(reader->getCurrentOffset(), 0U);
}

TEST(FileReaderFiles, EndsWhenTheFileWasEmptiedAndACallWasInterruptedBefore)
{
    const TemporaryFolder folder;
    folder.write("log", "a\nb\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);
    folder.write("log", "");

    errno = EINTR;

    EXPECT_EQ(reader->readLine(), std::nullopt);
}

TEST(FileReaderFiles, EndsWhenTheFileIsCutShortWhileItIsRead)
{
    const TemporaryFolder folder;
    const std::string line(1000, 'x');
    std::string bytes;
    for (int i = 0; i < 2000; ++i)
        bytes += line + "\n";
    folder.write("log", bytes);
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);
    ASSERT_TRUE(reader->readLine());

    fs::resize_file(folder.file("log"), 1'000'500);
    std::size_t lines = 1;
    while (reader->readLine())
        ++lines;

    EXPECT_LE(lines, 1001U);
    EXPECT_LE(reader->getCurrentOffset(), 1'000'500U);
}

TEST(FileReaderFiles, EndsWithALongDelimiterWhenTheFileIsCutShort)
{
    const TemporaryFolder folder;
    folder.write("log", std::string(1 << 20, 'x'));
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);
    reader->setLineDelimiter("\r\n");

    fs::resize_file(folder.file("log"), 25);

    EXPECT_EQ(reader->readLine(), std::string(25, 'x'));
    EXPECT_EQ(reader->readLine(), std::nullopt);
}

TEST(FileReaderFiles, GoesOnReadingAFileThatWasRemovedOrReplaced)
{
    const TemporaryFolder folder;
    folder.write("log", "a\nb\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    fs::remove(folder.file("log"));
    folder.write("log", "other\n");

    EXPECT_EQ(linesReadFrom(*reader), (std::vector<std::string>{"a\n", "b\n"}));
}

TEST(FileReaderFiles, IsNullForAMissingFile)
{
    const TemporaryFolder folder;

    EXPECT_EQ(FileReader::initWithFilePath(folder.file("log")), nullptr);
    EXPECT_EQ(FileReader::initWithFilePath(folder.file("log"), 7), nullptr);
    EXPECT_EQ(FileReader::initWithFilePath(""), nullptr);
}

TEST(FileReaderFiles, IsNullForAFolder)
{
    const TemporaryFolder folder;

    EXPECT_EQ(FileReader::initWithFilePath(folder.path()), nullptr);
}

TEST(FileReaderFiles, IsNullForADanglingLink)
{
    const TemporaryFolder folder;
    fs::create_symlink("nowhere", folder.file("log"));

    EXPECT_EQ(FileReader::initWithFilePath(folder.file("log")), nullptr);
}

TEST(FileReaderFiles, IsNullForALinkToADevice)
{
    const TemporaryFolder folder;
    fs::create_symlink("/dev/zero", folder.file("log"));

    EXPECT_EQ(FileReader::initWithFilePath(folder.file("log")), nullptr);
}

TEST(FileReaderFiles, IsNullForAFifoAndDoesNotWaitForAWriter)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("log");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);

    auto answer = std::async(std::launch::async,
                             [&] { return FileReader::initWithFilePath(path) == nullptr; });
    const bool hasAnswered = answer.wait_for(std::chrono::minutes{1}) == std::future_status::ready;
    if (!hasAnswered) // lets the reader continue
        std::ofstream{path};

    EXPECT_TRUE(hasAnswered);
    EXPECT_TRUE(answer.get());
}

TEST(FileReaderFiles, FollowsALinkToAFile)
{
    const TemporaryFolder folder;
    folder.write("target", "a\n");
    fs::create_symlink("target", folder.file("log"));

    const auto reader = FileReader::initWithFilePath(folder.file("log"));

    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->readLine(), "a\n");
}

TEST(FileReaderFiles, ClosesTheFileWhenDestroyedAndWhenRefused)
{
    const TemporaryFolder folder;
    folder.write("log", "a\n");
    const std::size_t before = openDescriptors();

    auto reader = FileReader::initWithFilePath(folder.file("log"));
    const std::size_t during = openDescriptors();
    reader.reset();
    const auto refused = FileReader::initWithFilePath(folder.path());

    EXPECT_EQ(during, before + 1);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(refused, nullptr);
}

TEST(FileReaderFiles, BeginsFarInsideAFileOfManyGigabytes)
{
    const TemporaryFolder folder;
    constexpr std::uint64_t length = std::uint64_t{1} << 40;
    folder.write("log", "");
    fs::resize_file(folder.file("log"), length);

    const auto reader = FileReader::initWithFilePath(folder.file("log"), length - 2);
    ASSERT_NE(reader, nullptr);
    reader->setLineDelimiter(std::string(1, '\0'));

    EXPECT_EQ(reader->readLine(), std::string(1, '\0'));
    EXPECT_EQ(reader->getCurrentOffset(), length - 1);
    EXPECT_EQ(reader->readLine(), std::string(1, '\0'));
    EXPECT_EQ(reader->readLine(), std::nullopt);
}

TEST(FileReaderFiles, TellsValidLinesFromOthersAtEveryBorderOfItsBuffer)
{
    const TemporaryFolder folder;
    // Characters of 1 to 4 bytes, in lines of 37 bytes, so that within a megabyte every position in
    // every character falls on a chunk border. A spoilt line begins inside a character.
    const std::string line = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xE2\x82\xAC\xC3\xA4"
                             "bcdefghijklmnopqrstu\n";
    const std::string spoilt = "\xA4\xC3\xA4\xE2\x82"
                               "bcdefghijklm\xF0\x9F\x98\xC3\n";
    std::string bytes;
    std::vector<bool> expected;
    while (bytes.size() < 3U << 20) {
        const bool isValid = expected.size() % 5 != 3;
        bytes += isValid ? line : spoilt;
        expected.push_back(isValid);
    }
    folder.write("log", bytes);
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    for (const bool isValid : expected) {
        const std::uint64_t before = reader->getCurrentOffset();
        const auto read = reader->readLine();
        ASSERT_EQ(read, isValid ? std::optional<std::string_view>{line} : std::nullopt);
        ASSERT_EQ(reader->getCurrentOffset(), before + (isValid ? line : spoilt).size());
    }

    EXPECT_EQ(reader->getCurrentOffset(), bytes.size());
}

TEST(FileReaderFiles, ReturnsNothingForALineThatADelimiterCutsInsideACharacter)
{
    const TemporaryFolder folder;
    folder.write("log", "a\xC3\xA4\xC3\xA4|b\n");
    const auto reader = FileReader::initWithFilePath(folder.file("log"));
    ASSERT_NE(reader, nullptr);

    reader->setLineDelimiter("\xC3");
    const bool firstIsValid = reader->readLine().has_value();
    const std::uint64_t afterFirst = reader->getCurrentOffset();
    reader->setLineDelimiter("|");
    const bool secondIsValid = reader->readLine().has_value();

    EXPECT_FALSE(firstIsValid);
    EXPECT_EQ(afterFirst, 2U);
    EXPECT_FALSE(secondIsValid);
    EXPECT_EQ(reader->getCurrentOffset(), 6U);
    reader->setLineDelimiter("\n");
    EXPECT_EQ(reader->readLine(), "b\n");
}

} // namespace
} // namespace veltra
