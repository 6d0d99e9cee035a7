#pragma once

#include "platform/kqueue/KernelQueue.h"
#include "platform/kqueue/PendingEvents.h"

#include <memory>
#include <utility>

namespace veltra {

/// A registration's reference to its queue: one of the watches of a `Watches`, which does its own
/// locking and has `remove(WatchId)` and `setFlags(WatchId, fflags)`. Does nothing once that is
/// gone.
template <typename Watches>
class WeakWatch : public KernelQueue::Registration::Watch {
  public:
    WeakWatch(std::weak_ptr<Watches> watches, WatchId id) : watches_{std::move(watches)}, id_{id} {}
    WeakWatch(const WeakWatch&) = delete;
    WeakWatch& operator=(const WeakWatch&) = delete;

    ~WeakWatch() override
    {
        if (const auto watches = watches_.lock())
            watches->remove(id_);
    }

    void setFlags(std::uint32_t fflags) override
    {
        if (const auto watches = watches_.lock())
            watches->setFlags(id_, fflags);
    }

  private:
    std::weak_ptr<Watches> watches_;
    WatchId id_;
};

} // namespace veltra
