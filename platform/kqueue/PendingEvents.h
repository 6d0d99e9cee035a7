#pragma once

#include "platform/kqueue/KernelQueue.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>

namespace veltra {

/// Identifies one watch of one queue; never reused.
enum class WatchId : std::uint64_t {};

/// The events of a queue's watches that have not been fetched yet, at most one for each watch.
///
/// Implements what every queue promises: changes of one watch are merged; watches come in the order
/// of their first unfetched change; masks apply both when a change happens and when it is fetched;
/// and a watch whose user data is gone reports nothing. Not thread-safe.
class PendingEvents {
  public:
    /// Adds a watch without changes.
    WatchId add(std::uint32_t fflags, std::weak_ptr<void> udata);

    /// Ends a watch and drops its pending changes. Unknown ids are ignored, here and below.
    void remove(WatchId id);

    /// Replaces a mask. Pending changes that are not in the new one are dropped.
    void setFlags(WatchId id, std::uint32_t fflags);

    /// Records changes of a watch.
    void record(WatchId id, std::uint32_t changes);

    /// The mask of a watch.
    [[nodiscard]] std::uint32_t flags(WatchId id) const;

    [[nodiscard]] bool empty() const noexcept { return order_.empty(); }

    /// Removes and returns the event of the watch that changed first.
    [[nodiscard]] std::optional<KernelQueue::Event> takeFirst();

  private:
    struct Watch {
        std::uint32_t fflags = 0;
        std::uint32_t pending = 0;
        std::weak_ptr<void> udata;
    };

    std::uint64_t lastId_ = 0;
    std::map<WatchId, Watch> watches_;
    std::deque<WatchId> order_; // the watches with pending changes
};

} // namespace veltra
