#include "logview/TextMemory.h"

#include <new>

#include <sys/mman.h>

namespace veltra {

namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;

// The alignment that a piece of this size gets, and is freed by.
std::align_val_t alignmentOf(std::size_t bytes) noexcept
{
    return std::align_val_t{bytes < hugePage ? alignof(std::max_align_t) : hugePage};
}

char* allocate(std::size_t bytes)
{
    void* memory = ::operator new(bytes, alignmentOf(bytes));
    // Only a wish: without huge pages the memory is as good, just slower to fill.
    if (bytes >= hugePage)
        ::madvise(memory, bytes, MADV_HUGEPAGE);
    return static_cast<char*>(memory);
}

} // namespace

TextMemory::TextMemory(std::size_t bytes) : bytes_{allocate(bytes), Free{bytes}} {}

void TextMemory::Free::operator()(char* bytes) const noexcept
{
    ::operator delete(bytes, alignmentOf(size));
}

} // namespace veltra
