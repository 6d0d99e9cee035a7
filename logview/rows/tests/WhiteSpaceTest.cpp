#include "logview/rows/WhiteSpace.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

std::string utf8(char32_t character)
{
    const auto tail = [character](int shift) {
        return static_cast<char>(0x80 | ((character >> shift) & 0x3F));
    };
    if (character < 0x80)
        return {static_cast<char>(character)};
    if (character < 0x800)
        return {static_cast<char>(0xC0 | (character >> 6)), tail(0)};
    if (character < 0x10000)
        return {static_cast<char>(0xE0 | (character >> 12)), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | (character >> 18)), tail(12), tail(6), tail(0)};
}

bool isSurrogate(char32_t character)
{
    return character >= 0xD800 && character <= 0xDFFF;
}

const std::set<char32_t> spaces{0x0009, 0x000A, 0x000B, 0x000C, 0x000D, 0x0020, 0x0085,
                                0x00A0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x2028,
                                0x2029, 0x202F, 0x205F, 0x3000};

TEST(WhiteSpace, IsExactlyTheUnicodeSpacesAndLineBreaksAtTheFront)
{
    for (char32_t character = 0; character <= 0x10FFFF; ++character) {
        if (isSurrogate(character))
            continue;
        const std::string text = utf8(character);
        const std::size_t expected = spaces.contains(character) ? text.size() : 0;
        ASSERT_EQ(leadingWhiteSpace(text + "x"), expected) << std::hex << unsigned{character};
    }
}

TEST(WhiteSpace, IsExactlyTheSameAtTheBack)
{
    for (char32_t character = 0; character <= 0x10FFFF; ++character) {
        if (isSurrogate(character))
            continue;
        const std::string text = "x" + utf8(character);
        const std::string expected = spaces.contains(character) ? "x" : text;
        ASSERT_EQ(withoutWhiteSpaceAtEnds(text), expected) << std::hex << unsigned{character};
    }
}

TEST(WhiteSpace, IsCountedUpToTheFirstOtherCharacter)
{
    EXPECT_EQ(leadingWhiteSpace(""), 0U);
    EXPECT_EQ(leadingWhiteSpace("a "), 0U);
    EXPECT_EQ(leadingWhiteSpace(" \t\r\n\v\fa "), 6U);
    EXPECT_EQ(leadingWhiteSpace(" \xC2\xA0\xE3\x80\x80 \xC3\xA4"), 7U);
}

TEST(WhiteSpace, MayBeTheWholeText)
{
    EXPECT_EQ(leadingWhiteSpace(" \xE2\x80\xA8\n"), 5U);
    EXPECT_EQ(withoutWhiteSpaceAtEnds(" \xE2\x80\xA8\n"), "");
    EXPECT_EQ(withoutWhiteSpaceAtEnds(""), "");
}

TEST(WhiteSpace, IsKeptInsideAText)
{
    EXPECT_EQ(withoutWhiteSpaceAtEnds(" \xC2\xA0"
                                      "a \xE2\x80\x83 b\xC2\x85\r\n"),
              "a \xE2\x80\x83 b");
}

TEST(WhiteSpace, IsNotLookedForInTheMiddleOfACharacter)
{
    // Each ends with the bytes of a space, or some of them, but is not one.
    for (const std::string text : {"\xE0\xA2\x85", "\xE1\x82\xA0", "\xF0\x90\x80\x80"})
        EXPECT_EQ(withoutWhiteSpaceAtEnds(text), text);
}

TEST(WhiteSpace, StandsTextsThatEndInsideACharacter)
{
    EXPECT_EQ(leadingWhiteSpace("\xE2"), 0U);
    EXPECT_EQ(leadingWhiteSpace("\xE2\x80"), 0U);
    EXPECT_EQ(leadingWhiteSpace(" \xC2"), 1U);
}

} // namespace
} // namespace veltra
