#include "logview/rows/RowMemory.h"

#include <algorithm>

namespace veltra {

namespace {

constexpr std::size_t firstBlockSize = std::size_t{128} << 10;
constexpr std::size_t blockSize = std::size_t{1} << 20;

} // namespace

// A large log needs many blocks, and the kernel allocates pages faster all at once.
void RowMemory::addBlock(std::size_t bytes)
{
    if (blocks_.empty()) {
        blocks_.emplace_back(std::max(bytes, firstBlockSize));
    } else {
        blocks_.emplace_back(std::max(bytes, blockSize));
        if (bytes <= blockSize)
            blocks_.back().populate();
    }
    free_ = blocks_.back().data();
    room_ = blocks_.back().size();
}

} // namespace veltra
