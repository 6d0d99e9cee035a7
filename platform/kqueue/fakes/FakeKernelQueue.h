#pragma once

#include "platform/base/EventFd.h"
#include "platform/kqueue/KernelQueue.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace veltra {

/// A queue without a kernel, for tests of what stands above: changes happen when a test says so.
///
/// Merging, order, masks, user data and interruption are those of the real queue. Descriptors are
/// only numbers to it. All functions may be called from any thread.
class FakeKernelQueue : public KernelQueue {
  public:
    /// A change of the kernel's side: a watch that was made, or one whose mask was replaced.
    struct Change {
        int descriptor = -1;
        std::uint32_t fflags = 0;

        bool operator==(const Change&) const = default;
    };

    /// Throws std::runtime_error when the process has no descriptor left.
    FakeKernelQueue();
    ~FakeKernelQueue() override;

    /// Lets NOTE_* bits happen to every watch of `descriptor`.
    void post(int descriptor, std::uint32_t fflags);

    /// Everything that watch() and setFlags() were asked for so far.
    [[nodiscard]] std::vector<Change> changes() const;

    /// The descriptors of the watches that live now, in the order in which they were made.
    [[nodiscard]] std::vector<int> watchedDescriptors() const;

    /// A real descriptor, on which nothing ever happens.
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
