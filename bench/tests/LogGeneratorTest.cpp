#include "bench/LogGenerator.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace veltra {
namespace {

std::string generate(int lines)
{
    LogGenerator generator;
    std::string text;
    for (int i = 0; i < lines; ++i)
        generator.appendLine(text);
    return text;
}

TEST(LogGenerator, MakesTheSameLogEveryTime)
{
    const std::string first = generate(2000);

    const std::string second = generate(2000);

    EXPECT_EQ(first, second);
    EXPECT_EQ(first.substr(0, first.find('.')), "2024-03-05 00:00:00");
}

TEST(LogGenerator, EndsEveryLineWithALineFeed)
{
    const std::string log = generate(2000);

    EXPECT_EQ(std::ranges::count(log, '\n'), 2000);
    EXPECT_EQ(log.back(), '\n');
}

TEST(LogGenerator, MakesLinesOfAboutNinetyBytes)
{
    constexpr int lines = 20'000;

    const std::string log = generate(lines);

    EXPECT_GE(log.size() / lines, 85U);
    EXPECT_LE(log.size() / lines, 95U);
}

TEST(LogGenerator, NeverGoesBackInTime)
{
    const std::string log = generate(20'000);

    std::string last;
    for (std::size_t begin = 0; begin < log.size(); begin = log.find('\n', begin) + 1) {
        const std::string stamp = log.substr(begin, 23);
        EXPECT_LE(last, stamp);
        last = stamp;
    }
}

} // namespace
} // namespace veltra
