#pragma once

#include <cstddef>
#include <memory>

namespace veltra {

/// Uninitialised memory for text. Large pieces ask the kernel for huge pages, since touching
/// hundreds of megabytes a small page at a time costs more than reading a log into them.
class TextMemory {
  public:
    explicit TextMemory(std::size_t bytes);

    [[nodiscard]] char* data() const noexcept { return bytes_.get(); }

  private:
    struct Free {
        std::size_t size = 0;

        void operator()(char* bytes) const noexcept;
    };
    std::unique_ptr<char, Free> bytes_;
};

} // namespace veltra
