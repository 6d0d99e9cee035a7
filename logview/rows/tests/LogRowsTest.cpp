#include "logview/rows/LogRows.h"

#include "logview/rows/tests/LogTexts.h"

#include <array>
#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELTRA_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VELTRA_SANITIZED
#endif
#endif

namespace veltra {
namespace {

using Lines = std::vector<std::string>;

/// The row that was appended last.
const LogRows::Row& append(LogRows& rows, const LogLineTexts& texts)
{
    rows.append(texts);
    return rows.unpublished(rows.unpublishedCount() - 1);
}

const LogRows::Row& appendMessage(LogRows& rows, std::string_view message)
{
    return append(rows, logTexts("D", "T", "C", "Info", message));
}

void appendMessages(LogRows& rows, const std::vector<std::string_view>& messages)
{
    for (const std::string_view message : messages)
        appendMessage(rows, message);
}

Lines messagesFromTheTop(const LogRows& rows)
{
    Lines messages;
    for (std::size_t age = rows.count(); age > 0; --age)
        messages.emplace_back(rows.row(age - 1).text(LogField::message));
    return messages;
}

TEST(LogRows, AreNoneAtFirst)
{
    const LogRows rows;

    EXPECT_EQ(rows.count(), 0U);
}

TEST(LogRows, AreSeenOncePublished)
{
    LogRows rows;
    appendMessages(rows, {"a", "b"});
    const std::size_t before = rows.count();

    rows.publish();

    EXPECT_EQ(before, 0U);
    EXPECT_EQ(rows.count(), 2U);
}

TEST(LogRows, StandInTheirOrderAboveAllEarlierOnes)
{
    LogRows rows;

    appendMessages(rows, {"a", "b"});
    rows.publish();
    appendMessages(rows, {"c", "d", "e"});
    rows.publish();

    EXPECT_EQ(messagesFromTheTop(rows), (Lines{"c", "d", "e", "a", "b"}));
}

TEST(LogRows, KeepTheirAgeWhenOthersComeOnTop)
{
    LogRows rows;
    appendMessages(rows, {"a", "b"});
    rows.publish();
    const std::string before{rows.row(0).text(LogField::message)};

    appendMessages(rows, {"c"});
    rows.publish();

    EXPECT_EQ(before, "b");
    EXPECT_EQ(rows.row(0).text(LogField::message), "b");
    EXPECT_EQ(rows.row(2).text(LogField::message), "c");
}

TEST(LogRows, MayBeReplacedAndDroppedBeforeTheyArePublished)
{
    LogRows rows;
    appendMessages(rows, {"published"});
    rows.publish();
    appendMessages(rows, {"a", "b", "c", "d"});

    rows.replaceUnpublished(3, logTexts("D", "T", "C", "Info", "e"));
    rows.dropUnpublished([](const LogRows::Row& row) {
        const std::string_view message = row.text(LogField::message);
        return message == "a" || message == "c" || message == "published";
    });
    rows.publish();

    EXPECT_EQ(messagesFromTheTop(rows), (Lines{"b", "e", "published"}));
}

TEST(LogRows, OfAPassWithoutAnyChangeNothing)
{
    LogRows rows;
    appendMessages(rows, {"a", "b"});
    rows.publish();

    rows.publish();
    appendMessages(rows, {"c"});
    rows.publish();

    EXPECT_EQ(messagesFromTheTop(rows), (Lines{"c", "a", "b"}));
}

TEST(LogRows, MayBeMadeByOthersAndAppendedManyAtATime)
{
    LogRows rows;
    Lines expected;
    // More rows than fit into one chunk, and not a multiple of that.
    for (int part = 0; part < 7; ++part) {
        std::vector<LogRows::Row> made;
        for (int i = 0; i < 1'500; ++i) {
            const std::string message = std::to_string(part) + "." + std::to_string(i);
            made.push_back(LogRows::makeRow(logTexts("D", "T", "C", "Info", message),
                                            rows.memory(static_cast<std::size_t>(part) % 2)));
            expected.push_back(message);
        }
        rows.append(made);
    }

    rows.publish();

    EXPECT_EQ(messagesFromTheTop(rows), expected);
}

TEST(LogRows, GiveEveryTextBack)
{
    LogRows rows;

    const LogRows::Row row = append(rows, logTexts("date", "time", "comp", "type", "message"));

    EXPECT_EQ(row.texts(), logTexts("date", "time", "comp", "type", "message"));
    EXPECT_EQ(row.text(LogField::component), "comp");
}

TEST(LogRows, HoldTextsOfEveryLengthInEveryPlace)
{
    LogRows rows;

    for (std::size_t field = 0; field < logFieldCount; ++field) {
        for (const std::size_t length : {0UL, 1UL, 3UL, 4UL, 7UL, 8UL, 9UL, 15UL, 16UL, 17UL, 254UL,
                                         255UL, 256UL, 70'000UL, 3'000'000UL}) {
            std::string wide;
            while (wide.size() < length)
                wide += static_cast<char>('a' + wide.size() % 26);
            LogLineTexts texts = logTexts("date", "time", "component", "type", "message");
            texts[static_cast<LogField>(field)] = wide;
            const LogRows::Row row = append(rows, texts);
            EXPECT_TRUE(row.texts() == texts) << field << " of " << length << " bytes";
        }
    }
}

TEST(LogRows, HoldSeveralWideTextsAtOnce)
{
    LogRows rows;
    const std::string a(255, 'a');
    const std::string b(300, 'b');
    const std::string c(70'000, 'c');

    const LogRows::Row row = append(rows, logTexts(a, b, c, "", c));

    EXPECT_TRUE(row.texts() == logTexts(a, b, c, "", c));
}

TEST(LogRows, HoldRowsWithoutAnyText)
{
    LogRows rows;

    rows.append(LogLineTexts{});
    rows.append(LogLineTexts{});
    rows.publish();

    EXPECT_EQ(rows.count(), 2U);
    EXPECT_EQ(rows.row(1).texts(), LogLineTexts{});
}

TEST(LogRows, CopyTheTextsTheyAreGiven)
{
    LogRows rows;
    std::string message = "first";
    const LogRows::Row row = appendMessage(rows, message);

    message = "other";

    EXPECT_EQ(row.text(LogField::message), "first");
}

TEST(LogRows, KeepNulBytes)
{
    LogRows rows;
    const std::string_view message{"a\0b", 3};

    EXPECT_EQ(appendMessage(rows, message).text(LogField::message), message);
}

TEST(LogRows, TakeNoMoreThanSixteenBytesAndTheirTexts)
{
    EXPECT_EQ(sizeof(LogRows::Row), 16U);
}

#ifndef VELTRA_SANITIZED
std::size_t residentBytes()
{
    std::ifstream file{"/proc/self/statm"};
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST(LogRows, TakeHardlyMoreMemoryThanThat)
{
    constexpr std::size_t many = 600'000;
    constexpr std::size_t blocks = std::size_t{6} << 20;
    const std::string message(60, 'm');
    constexpr std::size_t bytesPerRow = 16 + 1 + 1 + 1 + 4 + 60;
    LogRows rows;
    const std::size_t before = residentBytes();

    for (std::size_t i = 0; i < many; ++i)
        appendMessage(rows, message);
    rows.publish();

    EXPECT_LE(residentBytes() - before, many * bytesPerRow + many * bytesPerRow / 50 + blocks);
    EXPECT_EQ(rows.row(many - 1).text(LogField::message), message);
}
#endif

TEST(LogRows, MayBeReadWhileOthersAreInserted)
{
    constexpr std::size_t many = 200'000;
    constexpr std::size_t rowsPerPass = 64;
    // The rows of a pass were appended from the top to the bottom.
    const auto numberAt = [](std::size_t age) {
        const std::size_t within = age % rowsPerPass;
        return std::to_string(age - within + (rowsPerPass - 1 - within));
    };
    LogRows rows;
    std::atomic<bool> isReading = false;

    std::thread writer{[&] {
        while (!isReading)
            std::this_thread::yield();
        for (std::size_t i = 0; i < many; ++i) {
            appendMessage(rows, std::to_string(i));
            if (i % rowsPerPass == rowsPerPass - 1)
                rows.publish();
        }
    }};
    std::size_t seen = 0;
    std::size_t wrong = 0;
    while (seen < many) {
        isReading = true;
        const std::size_t count = rows.count();
        wrong += count < seen ? 1 : 0;
        for (std::size_t age = seen; age < count; age += 1 + (count - seen) / 7)
            wrong += rows.row(age).text(LogField::message) == numberAt(age) ? 0 : 1;
        if (count > 0)
            wrong += rows.row(count - 1).text(LogField::message) == numberAt(count - 1) ? 0 : 1;
        seen = count;
    }
    writer.join();

    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(rows.count(), many);
}

} // namespace
} // namespace veltra
