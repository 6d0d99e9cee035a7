#include "platform/kqueue/PendingEvents.h"

#include <utility>

namespace veltra {

WatchId PendingEvents::add(std::uint32_t fflags, std::weak_ptr<void> udata)
{
    const WatchId id{++lastId_};
    watches_[id] = {.fflags = fflags, .pending = 0, .udata = std::move(udata)};
    return id;
}

void PendingEvents::remove(WatchId id)
{
    watches_.erase(id);
    std::erase(order_, id);
}

void PendingEvents::setFlags(WatchId id, std::uint32_t fflags)
{
    const auto watch = watches_.find(id);
    if (watch == watches_.end())
        return;

    watch->second.fflags = fflags;
    watch->second.pending &= fflags;
    if (watch->second.pending == 0)
        std::erase(order_, id);
}

void PendingEvents::record(WatchId id, std::uint32_t changes)
{
    const auto watch = watches_.find(id);
    if (watch == watches_.end() || (changes & watch->second.fflags) == 0)
        return;

    if (watch->second.pending == 0)
        order_.push_back(id);
    watch->second.pending |= changes & watch->second.fflags;
}

std::uint32_t PendingEvents::flags(WatchId id) const
{
    const auto watch = watches_.find(id);
    return watch != watches_.end() ? watch->second.fflags : 0;
}

std::optional<KernelQueue::Event> PendingEvents::takeFirst()
{
    while (!order_.empty()) {
        Watch& watch = watches_.at(order_.front());
        order_.pop_front();
        const std::uint32_t fflags = std::exchange(watch.pending, 0U);
        if (auto udata = watch.udata.lock())
            return KernelQueue::Event{.fflags = fflags, .udata = std::move(udata)};
    }
    return std::nullopt;
}

} // namespace veltra
