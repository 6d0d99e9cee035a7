#include "platform/base/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace veltra {

namespace {

// What may come next, according to the syntax table in RFC 3629, section 4. A state's value is the
// position of its successor in a row of the table below: six bits each, nine of them in a 64-bit
// word.
enum State : std::uint64_t {
    complete = 0,   ///< a character may start
    malformed = 6,  ///< nothing can make this valid again
    oneMore = 12,   ///< one byte 80..BF
    twoMore = 18,   ///< two bytes 80..BF
    threeMore = 24, ///< three bytes 80..BF
    afterE0 = 30,   ///< A0..BF, then one more
    afterED = 36,   ///< 80..9F, then one more
    afterF0 = 42,   ///< 90..BF, then two more
    afterF4 = 48,   ///< 80..8F, then two more
};

constexpr std::array states{complete, malformed, oneMore, twoMore, threeMore,
                            afterE0,  afterED,   afterF0, afterF4};

constexpr State afterFirst(unsigned byte)
{
    if (byte <= 0x7F)
        return complete;
    if (byte < 0xC2 || byte > 0xF4)
        return malformed;
    if (byte <= 0xDF)
        return oneMore;
    if (byte <= 0xEF)
        return byte == 0xE0 ? afterE0 : byte == 0xED ? afterED : twoMore;
    return byte == 0xF0 ? afterF0 : byte == 0xF4 ? afterF4 : threeMore;
}

constexpr State next(State state, unsigned byte)
{
    const auto within = [byte](unsigned first, unsigned last, State then) {
        return byte >= first && byte <= last ? then : malformed;
    };
    switch (state) {
    case complete:
        return afterFirst(byte);
    case malformed:
        return malformed;
    case oneMore:
        return within(0x80, 0xBF, complete);
    case twoMore:
        return within(0x80, 0xBF, oneMore);
    case threeMore:
        return within(0x80, 0xBF, twoMore);
    case afterE0:
        return within(0xA0, 0xBF, oneMore);
    case afterED:
        return within(0x80, 0x9F, oneMore);
    case afterF0:
        return within(0x90, 0xBF, twoMore);
    case afterF4:
        return within(0x80, 0x8F, twoMore);
    }
    return malformed;
}

constexpr auto makeTransitions()
{
    std::array<std::uint64_t, 256> rows{};
    for (unsigned byte = 0; byte < rows.size(); ++byte)
        for (State state : states)
            rows[byte] |= std::uint64_t{next(state, byte)} << state;
    return rows;
}

constexpr auto transitions = makeTransitions();

// One step is a load that depends only on the text, and one shift: there is no branch that could be
// mispredicted in mixed text. The bits above a state's six belong to its neighbours, hence the
// masks.
inline std::uint64_t advance(std::uint64_t state, const char* bytes, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i)
        state = transitions[static_cast<unsigned char>(bytes[i])] >> (state & 63);
    return state & 63;
}

constexpr std::size_t blockSize = 32;

inline std::uint64_t wordAt(const char* bytes) noexcept
{
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

inline bool isAscii(std::uint64_t word) noexcept
{
    return (word & 0x8080808080808080U) == 0;
}

inline std::uint64_t blockAt(const char* bytes) noexcept
{
    return (wordAt(bytes) | wordAt(bytes + 8)) | (wordAt(bytes + 16) | wordAt(bytes + 24));
}

// The end of the complete characters that start at `start`, checked one by one.
std::size_t endOfCharacters(std::string_view bytes, std::size_t start) noexcept
{
    std::size_t end = start;
    std::uint64_t state = complete;
    for (std::size_t i = start; i < bytes.size() && state != malformed; ++i) {
        state = advance(state, &bytes[i], 1);
        if (state == complete)
            end = i + 1;
    }
    return end;
}

} // namespace

std::size_t validUtf8Prefix(std::string_view bytes) noexcept
{
    const char* const begin = bytes.data();
    const char* at = begin;
    std::size_t left = bytes.size();
    std::size_t known = 0; // that many bytes are complete characters
    std::uint64_t state = complete;
    for (; left >= blockSize; at += blockSize, left -= blockSize) {
        if (state == complete) {
            known = static_cast<std::size_t>(at - begin);
            if (isAscii(blockAt(at)))
                continue;
        }
        state = advance(state, at, blockSize);
        if (state == malformed)
            return endOfCharacters(bytes, known);
    }
    // Lines of a log are short, so checking their ends a word at a time is worth it too.
    for (; state == complete && left >= 8 && isAscii(wordAt(at)); at += 8, left -= 8)
        ;
    return advance(state, at, left) == complete ? bytes.size() : endOfCharacters(bytes, known);
}

bool isValidUtf8(std::string_view bytes) noexcept
{
    return validUtf8Prefix(bytes) == bytes.size();
}

std::size_t unfinishedUtf8Suffix(std::string_view bytes) noexcept
{
    constexpr std::size_t longest = 3;
    for (std::size_t size = 1; size <= std::min(bytes.size(), longest); ++size) {
        const std::uint64_t state = advance(complete, bytes.data() + bytes.size() - size, size);
        if (state != complete && state != malformed)
            return size;
    }
    return 0;
}

} // namespace veltra
