#include "platform/base/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

struct Range {
    unsigned char first;
    unsigned char last;
};
using Form = std::vector<Range>;

constexpr Range tail{0x80, 0xBF};

// The forms of a character, as listed in the standard.
const std::array<Form, 9> forms{{
    {{0x00, 0x7F}},
    {{0xC2, 0xDF}, tail},
    {{0xE0, 0xE0}, {0xA0, 0xBF}, tail},
    {{0xE1, 0xEC}, tail, tail},
    {{0xED, 0xED}, {0x80, 0x9F}, tail},
    {{0xEE, 0xEF}, tail, tail},
    {{0xF0, 0xF0}, {0x90, 0xBF}, tail, tail},
    {{0xF1, 0xF3}, tail, tail, tail},
    {{0xF4, 0xF4}, {0x80, 0x8F}, tail, tail},
}};

bool beginsWith(std::string_view text, const Form& form)
{
    return text.size() >= form.size() &&
           std::equal(form.begin(), form.end(), text.begin(), [](Range range, char character) {
               const auto byte = static_cast<unsigned char>(character);
               return byte >= range.first && byte <= range.last;
           });
}

bool isValidByTheTable(std::string_view text)
{
    while (!text.empty()) {
        const auto form = std::ranges::find_if(
            forms, [&](const Form& candidate) { return beginsWith(text, candidate); });
        if (form == forms.end())
            return false;
        text.remove_prefix(form->size());
    }
    return true;
}

/// The three-byte texts that the table allows. All are computed in advance, because looking each up
/// in the table takes a minute under a sanitizer.
class TextsOfThreeBytes {
  public:
    TextsOfThreeBytes() { add(0, 3); }

    [[nodiscard]] bool contain(std::uint32_t bytes) const { return valid_[bytes]; }

  private:
    // All texts that start with `bytes` and have `missing` more.
    void add(std::uint32_t bytes, std::size_t missing)
    {
        if (missing == 0)
            valid_[bytes] = true;
        for (const Form& form : forms)
            if (form.size() <= missing)
                add(bytes, form, 0, missing);
    }

    void add(std::uint32_t bytes, const Form& form, std::size_t at, std::size_t missing)
    {
        if (at == form.size())
            return add(bytes, missing);
        for (std::uint32_t byte = form[at].first; byte <= form[at].last; ++byte)
            add(bytes << 8 | byte, form, at + 1, missing - 1);
    }

    std::vector<bool> valid_ = std::vector<bool>(1U << 24);
};

std::string bytes(std::initializer_list<unsigned> values)
{
    std::string text;
    for (unsigned value : values)
        text += static_cast<char>(value);
    return text;
}

// Only counted, because reporting each of millions of texts would not help.
std::size_t disagreement(const std::string& text)
{
    return isValidUtf8(text) == isValidByTheTable(text) ? 0 : 1;
}

TEST(Utf8, AgreesWithTheTableOnAllTextsOfOneByte)
{
    std::size_t disagreements = 0;

    for (unsigned a = 0; a < 256; ++a)
        disagreements += disagreement(bytes({a}));

    EXPECT_EQ(disagreements, 0U);
}

TEST(Utf8, AgreesWithTheTableOnAllTextsOfTwoBytes)
{
    std::size_t disagreements = 0;

    for (unsigned a = 0; a < 256; ++a)
        for (unsigned b = 0; b < 256; ++b)
            disagreements += disagreement(bytes({a, b}));

    EXPECT_EQ(disagreements, 0U);
}

TEST(Utf8, AgreesWithTheTableOnAllTextsOfThreeBytes)
{
    const TextsOfThreeBytes valid;
    std::size_t disagreements = 0;
    std::string text = "abc";

    for (std::uint32_t all = 0; all < 1U << 24; ++all) {
        text[0] = static_cast<char>(all >> 16);
        text[1] = static_cast<char>(all >> 8);
        text[2] = static_cast<char>(all);
        disagreements += isValidUtf8(text) == valid.contain(all) ? 0 : 1;
    }

    EXPECT_EQ(disagreements, 0U);
}

TEST(Utf8, AgreesWithTheTableOnFourBytesAroundEveryBoundary)
{
    constexpr std::array edges{0x00U, 0x7FU, 0x80U, 0x8FU, 0x90U,
                               0x9FU, 0xA0U, 0xBFU, 0xC0U, 0xFFU};
    std::size_t disagreements = 0;

    for (unsigned a = 0xE0; a < 256; ++a)
        for (unsigned b = 0; b < 256; ++b)
            for (unsigned c : edges)
                for (unsigned d : edges)
                    disagreements += disagreement(bytes({a, b, c, d}));

    EXPECT_EQ(disagreements, 0U);
}

TEST(Utf8, AcceptsTheFirstAndLastCharacterOfEveryLength)
{
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8(std::string(1, '\0')));
    EXPECT_TRUE(isValidUtf8("\x7F"));
    EXPECT_TRUE(isValidUtf8("\xC2\x80\xDF\xBF"));
    EXPECT_TRUE(isValidUtf8("\xE0\xA0\x80\xEF\xBF\xBF"));
    EXPECT_TRUE(isValidUtf8("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"));
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndWhatIsBeyondUnicode)
{
    EXPECT_FALSE(isValidUtf8("\xC0\xAF"));
    EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF"));
    EXPECT_FALSE(isValidUtf8("\xF0\x80\x80\xAF"));
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));
    EXPECT_FALSE(isValidUtf8("\xED\xBF\xBF"));
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));
    EXPECT_FALSE(isValidUtf8("\xF8\x88\x80\x80\x80"));
}

// Words and blocks of ASCII are skipped as a whole: a fault must be found at every position.
TEST(Utf8, FindsOneBrokenByteBehindAndBeforeAnyRunOfAscii)
{
    const std::string sample = "\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80";
    std::size_t disagreements = 0;

    for (std::size_t before = 0; before < 100; ++before)
        for (std::size_t after = 0; after < 70; ++after) {
            std::string text = std::string(before, 'a') + sample + std::string(after, 'z');
            disagreements += disagreement(text) + (isValidUtf8(text) ? 0 : 1);
            for (std::size_t at = 0; at < sample.size(); ++at)
                for (char broken : {'\xFF', 'x', '\x80', '\xE0'}) {
                    std::string faulty = text;
                    faulty[before + at] = broken;
                    disagreements += disagreement(faulty);
                }
        }

    EXPECT_EQ(disagreements, 0U);
}

TEST(Utf8, FindsALoneBadByteAnywhereInAscii)
{
    std::size_t accepted = 0;

    for (std::size_t size = 1; size <= 100; ++size)
        for (std::size_t at = 0; at < size; ++at) {
            std::string text(size, 'a');
            text[at] = '\x80';
            accepted += isValidUtf8(text) ? 1 : 0;
        }

    EXPECT_EQ(accepted, 0U);
}

TEST(Utf8, FindsACharacterThatIsPartedByAnyRunOfAscii)
{
    std::size_t accepted = 0;

    for (std::size_t before = 0; before < 70; ++before)
        for (std::size_t between = 1; between < 70; ++between) {
            const std::string text =
                std::string(before, 'a') + "\xE6\x97" + std::string(between, 'b') + "\xA5";
            accepted += isValidUtf8(text) ? 1 : 0;
        }

    EXPECT_EQ(accepted, 0U);
}

TEST(Utf8, FindsATextThatIsCutInsideACharacter)
{
    const std::string text = std::string(61, 'a') + "\xE6\x97\xA5" + std::string(29, 'b') +
                             "\xF0\x9F\x98\x80" + std::string(9, 'c') + "\xC3\xA4";
    std::size_t disagreements = 0;
    std::size_t cutInside = 0;

    for (std::size_t size = 0; size <= text.size(); ++size) {
        disagreements += disagreement(text.substr(0, size));
        cutInside += isValidUtf8(text.substr(0, size)) ? 0 : 1;
    }

    EXPECT_EQ(disagreements, 0U);
    EXPECT_EQ(cutInside, 2U + 3U + 1U);
}

TEST(Utf8, TellsHowMuchOfACharacterIsAtTheEnd)
{
    for (const char* const text : {"", "a", "\xC3\xA4", "\xFF", "\xE6\x97"}) {
        const std::string start{text};
        EXPECT_EQ(unfinishedUtf8Suffix(start + "\xC3"), 1U);
        EXPECT_EQ(unfinishedUtf8Suffix(start + "\xE6"), 1U);
        EXPECT_EQ(unfinishedUtf8Suffix(start + "\xE6\x97"), 2U);
        EXPECT_EQ(unfinishedUtf8Suffix(start + "\xF0"), 1U);
        EXPECT_EQ(unfinishedUtf8Suffix(start + "\xF0\x9F"), 2U);
        EXPECT_EQ(unfinishedUtf8Suffix(start + "\xF0\x9F\x98"), 3U);
    }
}

TEST(Utf8, TakesNothingForTheStartOfACharacterThatCannotBecomeOne)
{
    for (const char* const text :
         {"", "a", "\xC3\xA4", "\xE6\x97\xA5", "\xF0\x9F\x98\x80", "\xFF", "\x80", "\xC0",
          "\xE0\x80", "\xED\xA0", "\xF0\x80", "\xF4\x90", "\xF5", "\xC3\xA4\x80",
          "\xE6\x97"
          "a"})
        EXPECT_EQ(unfinishedUtf8Suffix(text), 0U) << testing::PrintToString(text);
}

} // namespace
} // namespace veltra
