#pragma once

#include "logview/rows/MemoryBlock.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace veltra {

/// Memory that is allocated in small pieces and freed all at once, when this object is destroyed.
/// Used by one thread at a time.
class RowMemory {
  public:
    RowMemory() = default;

    /// A piece whose address is a multiple of `alignment`, a power of two of at most
    /// alignof(std::max_align_t). Throws std::bad_alloc.
    [[nodiscard]] char* take(std::size_t bytes, std::size_t alignment = 1)
    {
        const std::size_t padding = -reinterpret_cast<std::uintptr_t>(free_) & (alignment - 1);
        if (bytes + padding > room_) {
            addBlock(bytes);
            return takeFront(bytes);
        }
        takeFront(padding);
        return takeFront(bytes);
    }

  private:
    char* takeFront(std::size_t bytes) noexcept
    {
        room_ -= bytes;
        return std::exchange(free_, free_ + bytes);
    }
    void addBlock(std::size_t bytes);

    std::vector<MemoryBlock> blocks_;
    char* free_ = nullptr;
    std::size_t room_ = 0;
};

} // namespace veltra
