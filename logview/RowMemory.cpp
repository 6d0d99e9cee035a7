#include "logview/RowMemory.h"

#include <system_error>

namespace veltra {

namespace {

constexpr std::size_t firstBlockSize = std::size_t{128} << 10;
constexpr std::size_t blockSize = std::size_t{2} << 20;

MemoryBlock makeReadyBlock()
{
    MemoryBlock block{blockSize};
    block.populate();
    return block;
}

} // namespace

void RowMemory::addBlock(std::size_t bytes)
{
    blocks_.push_back(nextBlock(bytes));
    free_ = blocks_.back().data();
    room_ = blocks_.back().size();
}

MemoryBlock RowMemory::nextBlock(std::size_t bytes)
{
    if (bytes > blockSize)
        return MemoryBlock{bytes};
    if (blocks_.empty() && bytes <= firstBlockSize)
        return MemoryBlock{firstBlockSize};

    MemoryBlock block = ready_.valid() ? ready_.get() : MemoryBlock{blockSize};
    makeAnotherReady();
    return block;
}

void RowMemory::makeAnotherReady()
{
    try {
        ready_ = std::async(std::launch::async, makeReadyBlock);
    } catch (const std::system_error&) {
        // No thread is to be had. The next block is then made when it is needed.
    }
}

} // namespace veltra
