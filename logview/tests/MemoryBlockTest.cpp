#include "logview/TextMemory.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(TextMemory, CanBeWrittenFromItsFirstToItsLastByte)
{
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{65536}, std::size_t{2} << 20,
                                    (std::size_t{2} << 20) + 1, std::size_t{5'000'000}}) {
        const TextMemory memory{bytes};

        std::memset(memory.data(), 'x', bytes);

        EXPECT_EQ(memory.data()[0], 'x');
        EXPECT_EQ(memory.data()[bytes - 1], 'x');
    }
}

TEST(TextMemory, AlignsLargePiecesToHugePages)
{
    const TextMemory memory{std::size_t{4} << 20};

    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.data()) % (std::size_t{2} << 20), 0U);
}

TEST(TextMemory, StaysWhereItIsWhenMoved)
{
    TextMemory first{100};
    char* const place = first.data();

    const TextMemory second{std::move(first)};

    EXPECT_EQ(second.data(), place);
}

} // namespace
} // namespace veltra
