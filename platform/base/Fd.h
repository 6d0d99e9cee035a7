#pragma once

namespace veltra {

/// Owns one file descriptor and closes it. Move-only; empty when default-constructed or moved from.
class [[nodiscard]] Fd {
  public:
    Fd() noexcept = default;

    /// Takes ownership of `descriptor`. A negative one makes an empty Fd, so the result of a failed
    /// system call can be passed in directly.
    explicit Fd(int descriptor) noexcept : descriptor_{descriptor} {}

    Fd(Fd&& other) noexcept : descriptor_{other.release()} {}
    Fd& operator=(Fd&& other) noexcept;
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd();

    [[nodiscard]] explicit operator bool() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int get() const noexcept { return descriptor_; }

    /// Hands the descriptor to the caller, who must close it. Negative when empty.
    [[nodiscard]] int release() noexcept;

  private:
    int descriptor_ = -1;
};

} // namespace veltra
