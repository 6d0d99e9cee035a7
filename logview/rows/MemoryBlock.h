#pragma once

#include <cstddef>
#include <memory>

namespace veltra {

/// Uninitialised memory that starts at a page boundary.
class MemoryBlock {
  public:
    explicit MemoryBlock(std::size_t bytes);

    [[nodiscard]] char* data() const noexcept { return bytes_.get(); }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    /// Makes the kernel allocate the block's pages now instead of when they are first written to.
    /// See MADV_POPULATE_WRITE in madvise(2); on a kernel without it, this has no effect.
    void populate() const noexcept;

  private:
    struct Free {
        void operator()(char* bytes) const noexcept;
    };
    std::unique_ptr<char, Free> bytes_;
    std::size_t size_;
};

} // namespace veltra
