#include "logview/rows/ReadLine.h"

#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

constexpr ByteRange range(std::uint64_t location, std::uint64_t length)
{
    return {.location = location, .length = length};
}

TEST(ReadLine, FindsALineFeedWhereItStands)
{
    EXPECT_EQ(rangeOfData_dd("ab\ncd", "\n"), range(2, 1));
}

TEST(ReadLine, FindsTheFirstOfSeveralLineFeeds)
{
    EXPECT_EQ(rangeOfData_dd("a\n\nb\n", "\n"), range(1, 1));
}

TEST(ReadLine, FindsALineFeedAtEitherEnd)
{
    EXPECT_EQ(rangeOfData_dd("\nab", "\n"), range(0, 1));
    EXPECT_EQ(rangeOfData_dd("ab\n", "\n"), range(2, 1));
}

TEST(ReadLine, FindsNothingInAnEmptyBufferButKeepsTheNeedlesLength)
{
    EXPECT_EQ(rangeOfData_dd("", "\n"), range(ByteRange::notFound, 1));
    EXPECT_EQ(rangeOfData_dd("", "\r\n"), range(ByteRange::notFound, 2));
}

TEST(ReadLine, FindsNothingWhereThereIsNoNeedle)
{
    EXPECT_EQ(rangeOfData_dd("abcd", "\n"), range(ByteRange::notFound, 1));
}

TEST(ReadLine, CallsNotFoundTheLargestSignedNumber)
{
    EXPECT_EQ(ByteRange::notFound, 0x7FFF'FFFF'FFFF'FFFFU);
    EXPECT_EQ(ByteRange{}.location, ByteRange::notFound);
}

TEST(ReadLine, FindsANeedleOfSeveralBytes)
{
    EXPECT_EQ(rangeOfData_dd("ab\r\ncd", "\r\n"), range(2, 2));
    EXPECT_EQ(rangeOfData_dd("xaab", "aab"), range(1, 3));
}

TEST(ReadLine, DoesNotCompareTheByteOfAMismatchWithTheNeedlesFirst)
{
    EXPECT_EQ(rangeOfData_dd("aaab", "aab"), range(ByteRange::notFound, 3));
    EXPECT_EQ(rangeOfData_dd("\r\r\n", "\r\n"), range(ByteRange::notFound, 2));
}

TEST(ReadLine, FindsANeedleAfterAMismatchThatDidNotHideIt)
{
    EXPECT_EQ(rangeOfData_dd("aaaaab", "aab"), range(3, 3));
    EXPECT_EQ(rangeOfData_dd("\rx\r\n", "\r\n"), range(2, 2));
}

TEST(ReadLine, ReportsABeginningOfTheNeedleThatRunsToTheEnd)
{
    EXPECT_EQ(rangeOfData_dd("ab\r", "\r\n"), range(2, 2));
    EXPECT_EQ(rangeOfData_dd("xaa", "aab"), range(1, 3));
}

TEST(ReadLine, NeverFindsAnEmptyNeedle)
{
    EXPECT_EQ(rangeOfData_dd("abc", ""), range(ByteRange::notFound, 0));
    EXPECT_EQ(rangeOfData_dd("", ""), range(ByteRange::notFound, 0));
}

TEST(ReadLine, TreatsNulAsAnyOtherByte)
{
    const std::string haystack{"a\0b\0\0c", 6};

    EXPECT_EQ(rangeOfData_dd(haystack, {"\0", 1}), range(1, 1));
    EXPECT_EQ(rangeOfData_dd(haystack, {"\0\0", 2}), range(3, 2));
}

} // namespace
} // namespace veltra
