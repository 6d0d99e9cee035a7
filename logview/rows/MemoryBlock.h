#pragma once

#include <cstddef>
#include <memory>

namespace veltra {

/// Uninitialised memory that begins at a page.
class MemoryBlock {
  public:
    explicit MemoryBlock(std::size_t bytes);

    [[nodiscard]] char* data() const noexcept { return bytes_.get(); }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    /// Has the kernel put pages behind the block now instead of when they are first written to.
    /// See MADV_POPULATE_WRITE in madvise(2); a kernel that does not know it changes nothing.
    void populate() const noexcept;

  private:
    struct Free {
        void operator()(char* bytes) const noexcept;
    };
    std::unique_ptr<char, Free> bytes_;
    std::size_t size_;
};

} // namespace veltra
