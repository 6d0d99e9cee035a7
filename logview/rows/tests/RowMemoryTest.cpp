#include "logview/rows/RowMemory.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

// Takes pieces of the given sizes, fills each with a different letter and checks that all kept
// theirs.
bool keepsEveryPiece(RowMemory& memory, const std::vector<std::size_t>& sizes)
{
    std::vector<std::span<char>> pieces;
    char letter = 'a';
    const auto next = [](char c) { return c == 'z' ? 'a' : static_cast<char>(c + 1); };
    for (const std::size_t size : sizes) {
        pieces.emplace_back(memory.take(size), size);
        std::memset(pieces.back().data(), letter, size);
        letter = next(letter);
    }
    letter = 'a';
    return std::ranges::all_of(pieces, [&](std::span<char> piece) {
        const char mine = letter;
        letter = next(letter);
        return std::ranges::all_of(piece, [mine](char c) { return c == mine; });
    });
}

TEST(RowMemory, GivesEveryPieceBytesOfItsOwn)
{
    RowMemory memory;

    EXPECT_TRUE(keepsEveryPiece(memory, {1, 10, 100, 0, 1000}));
}

TEST(RowMemory, GoesOnInAnotherBlockWhenOneIsUsedUp)
{
    RowMemory memory;

    EXPECT_TRUE(keepsEveryPiece(memory, std::vector<std::size_t>(300, 50'001)));
}

TEST(RowMemory, GivesPiecesLargerThanItsBlocks)
{
    RowMemory memory;

    EXPECT_TRUE(keepsEveryPiece(memory, {5, 5'000'000, 5, 200'000, 9'000'000, 5}));
}

TEST(RowMemory, AlignsWhatIsToBeAligned)
{
    RowMemory memory;
    for (int odd = 1; odd < 200'000; odd += 997) {
        std::ignore = memory.take(static_cast<std::size_t>(odd));

        const char* aligned = memory.take(64, 16);

        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 16, 0U) << odd;
    }
}

} // namespace
} // namespace veltra
