#pragma once

#include "platform/base/EventFd.h"
#include "platform/kqueue/KernelQueue.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace veltra {

/// A queue without a kernel, for tests of the code that uses it: changes happen when a test says
/// so.
///
/// Merging, order, masks, user data and interruption work as in the real queue. Descriptors are
/// only numbers to it. All functions may be called from any thread.
class FakeKernelQueue : public KernelQueue {
  public:
    /// A request to the kernel: a new watch, or a new mask for one.
    struct Change {
        int descriptor = -1;
        std::uint32_t fflags = 0;

        bool operator==(const Change&) const = default;
    };

    /// Throws std::runtime_error if the process has no descriptor left.
    FakeKernelQueue();
    ~FakeKernelQueue() override;

    /// Reports NOTE_* bits for every watch of `descriptor`.
    void post(int descriptor, std::uint32_t fflags);

    /// All requests by watch() and setFlags() so far.
    [[nodiscard]] std::vector<Change> changes() const;

    /// The descriptors of the current watches, in the order in which they were made.
    [[nodiscard]] std::vector<int> watchedDescriptors() const;

    /// A real descriptor that never becomes readable.
    [[nodiscard]] int descriptor() const noexcept override { return eventFd_.descriptor(); }
    [[nodiscard]] Result<Registration> watch(int descriptor, std::uint32_t fflags,
                                             std::weak_ptr<void> udata) override;
    [[nodiscard]] std::optional<Event> wait() override;
    void interrupt() noexcept override;

  private:
    class Shared;

    EventFd eventFd_;
    std::shared_ptr<Shared> shared_;
};

} // namespace veltra
