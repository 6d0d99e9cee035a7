#pragma once

#include "platform/kqueue/KernelQueue.h"

#include <memory>

namespace veltra {

/// A queue based on inotify(7): one descriptor for all watches. Each watch is set through the given
/// descriptor, never by name.
///
/// The state of a watched file decides what is reported; inotify only says when to check it. If the
/// kernel's own queue overflows, every watch is checked and differences are reported. No lock is
/// held while waiting. If poll(2) or read(2) fails with an error other than EINTR and EAGAIN,
/// wait() returns nothing at once, and will probably do so again: a caller whose wait ended without
/// its own interrupt() should leave its loop instead of repeating.
class InotifyKernelQueue : public KernelQueue {
  public:
    [[nodiscard]] static Result<std::unique_ptr<KernelQueue>> open();
    ~InotifyKernelQueue() override;

    [[nodiscard]] int descriptor() const noexcept override;
    [[nodiscard]] Result<Registration> watch(int descriptor, std::uint32_t fflags,
                                             std::weak_ptr<void> udata) override;
    [[nodiscard]] std::optional<Event> wait() override;
    void interrupt() noexcept override;

  private:
    class Shared;
    explicit InotifyKernelQueue(std::shared_ptr<Shared> shared);

    std::shared_ptr<Shared> shared_;
};

} // namespace veltra
