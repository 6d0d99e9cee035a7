#include "logview/rows/MemoryBlock.h"

#include <new>

#include <sys/mman.h>

namespace veltra {

namespace {

constexpr std::align_val_t page{4096};

} // namespace

MemoryBlock::MemoryBlock(std::size_t bytes)
    : bytes_{static_cast<char*>(::operator new(bytes, page))}, size_{bytes}
{
}

void MemoryBlock::populate() const noexcept
{
    ::madvise(data(), size(), MADV_POPULATE_WRITE);
}

void MemoryBlock::Free::operator()(char* bytes) const noexcept
{
    ::operator delete(bytes, page);
}

} // namespace veltra
