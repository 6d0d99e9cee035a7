#pragma once

#include "platform/kqueue/KernelQueue.h"

#include <memory>

namespace veltra {

/// The queue over inotify(7): one descriptor for all watches, each set through the descriptor
/// that it is given and never by name.
///
/// The state of a watched file decides what is reported, inotify only says when to look. If the
/// kernel's own queue overflows, every watch is looked at and what differs is reported. No lock is
/// held while waiting. Failures of poll(2) or read(2) other than EINTR and EAGAIN make wait()
/// return nothing at once, and are likely to do so again: a caller whose wait ended without its
/// own interrupt() should leave its loop rather than go round.
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
