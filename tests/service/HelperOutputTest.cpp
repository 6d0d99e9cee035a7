// What a tool's output becomes on its way.
#include "tests/service/ServiceTesting.h"

using namespace veltra;

namespace {

/// What arrives until a command is over: until its exit status and the ends of both streams have
/// come.
Words wholeCourse(Client& client, const std::string& command)
{
    client.tell(command);
    Words heard;
    for (int ends = 0; ends < 3;) {
        heard.push_back(client.line());
        const std::string& line = heard.back();
        if (line.starts_with('<'))
            break;
        ends += line == "a out " || line == "a err " || line.starts_with("a exit ");
    }
    return heard;
}

// Octal escapes for the shell's printf.
std::string escaped(const std::string& bytes)
{
    std::ostringstream escapes;
    for (const char c : bytes)
        escapes << '\\' << std::oct << static_cast<int>(static_cast<unsigned char>(c));
    return escapes.str();
}

std::string utf8(char32_t character)
{
    const auto last = [character](int shift) {
        return static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x10000)
        return {static_cast<char>(0xE0 | character >> 12), last(6), last(0)};
    return {static_cast<char>(0xF0 | character >> 18), last(12), last(6), last(0)};
}

std::vector<char32_t> noncharacters()
{
    std::vector<char32_t> all;
    for (char32_t character = 0xFDD0; character <= 0xFDEF; ++character)
        all.push_back(character);
    for (char32_t plane = 0; plane <= 0x10; ++plane)
        all.insert(all.end(), {plane << 16 | 0xFFFE, plane << 16 | 0xFFFF});
    return all;
}

} // namespace

TEST(HelperOutput, HasReplacementCharactersForWhatTheBusDoesNotCarry)
{
    const std::string replacement = "\xEF\xBF\xBD";
    std::string printed;
    std::string expected;
    for (const char32_t character : noncharacters()) {
        printed += utf8(character) + ".";
        expected += replacement + ".";
    }
    std::string neighbours;
    for (const char32_t character : {U'\uFDCF', U'\uFDF0', U'\uFFFD', U'\U0001FFFD', U'\U00020000',
                                     U'\U000EFBFE', U'\U0010FFFD'})
        neighbours += utf8(character);
    Client client;

    Words heard = wholeCourse(client, "run a printf '" +
                                          escaped(printed + std::string{'\0'} + neighbours) + "'");

    std::ranges::sort(heard);
    EXPECT_EQ(heard, (Words{"a err ", "a exit 0", "a out ",
                            "a out " + expected + replacement + neighbours}));
}
