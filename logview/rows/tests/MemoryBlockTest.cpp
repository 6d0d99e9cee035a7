#include "logview/rows/MemoryBlock.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace veltra {
namespace {

TEST(MemoryBlock, CanBeWrittenFromItsFirstToItsLastByte)
{
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{65536}, std::size_t{2} << 20,
                                    (std::size_t{2} << 20) + 1, std::size_t{5'000'000}}) {
        const MemoryBlock memory{bytes};

        std::memset(memory.data(), 'x', bytes);

        EXPECT_EQ(memory.data()[0], 'x');
        EXPECT_EQ(memory.data()[bytes - 1], 'x');
    }
}

TEST(MemoryBlock, BeginsAtAPage)
{
    const MemoryBlock memory{100};

    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.data()) % 4096, 0U);
}

// Whether the pages of a block are in memory, according to mincore(2).
std::vector<unsigned char> residentPagesOf(const MemoryBlock& memory)
{
    std::vector<unsigned char> pages(memory.size() / 4096);
    if (::mincore(memory.data(), memory.size(), pages.data()) != 0)
        throw std::system_error{errno, std::generic_category(), "mincore"};
    return pages;
}

TEST(MemoryBlock, HasItsPagesOnceItIsPopulated)
{
    const MemoryBlock memory{std::size_t{8} << 20};
    // The memory may have been used before.
    ASSERT_EQ(::madvise(memory.data(), memory.size(), MADV_DONTNEED), 0);
    ASSERT_EQ(std::ranges::count(residentPagesOf(memory), 1), 0);

    memory.populate();

    EXPECT_EQ(std::ranges::count(residentPagesOf(memory), 1), 2048);
}

TEST(MemoryBlock, StaysWhereItIsWhenMoved)
{
    MemoryBlock first{100};
    char* const place = first.data();

    const MemoryBlock second{std::move(first)};

    EXPECT_EQ(second.data(), place);
}

} // namespace
} // namespace veltra
