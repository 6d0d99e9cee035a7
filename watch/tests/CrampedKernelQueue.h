#pragma once

#include "platform/kqueue/fakes/FakeKernelQueue.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

namespace veltra {

/// A queue without a kernel that has room for a few watches only. Any thread.
class CrampedKernelQueue : public FakeKernelQueue {
  public:
    explicit CrampedKernelQueue(std::size_t room) : room_{room} {}

    void setRoom(std::size_t room) { room_ = room; }

    [[nodiscard]] Result<Registration> watch(int descriptor, std::uint32_t fflags,
                                             std::weak_ptr<void> udata) override
    {
        if (watchedDescriptors().size() >= room_)
            return Error{std::make_error_code(std::errc::no_space_on_device), "watch"};
        return FakeKernelQueue::watch(descriptor, fflags, std::move(udata));
    }

  private:
    std::atomic<std::size_t> room_;
};

} // namespace veltra
