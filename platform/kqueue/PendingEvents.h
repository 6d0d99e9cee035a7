#pragma once

#include "platform/kqueue/KernelQueue.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>

namespace veltra {

/// Names one watch of one queue; never used again after it.
enum class WatchId : std::uint64_t {};

/// The events of a queue's watches that nobody has fetched yet, at most one for each watch.
///
/// Keeps what every queue promises: changes of one watch merge, watches come in the order of
/// their first unfetched change, masks hold both when a change happens and when it is fetched,
/// and a watch whose user data is gone reports nothing. Not thread-safe.
class PendingEvents {
  public:
    /// A watch that is new here, without changes.
    WatchId add(std::uint32_t fflags, std::weak_ptr<void> udata);

    /// Ends a watch; what was pending for it is dropped. Unknown ids are passed over, here and
    /// below.
    void remove(WatchId id);

    /// Replaces a mask. Pending changes that are not in the new one are dropped.
    void setFlags(WatchId id, std::uint32_t fflags);

    /// Something happened to a watch.
    void record(WatchId id, std::uint32_t changes);

    /// The mask of a watch.
    [[nodiscard]] std::uint32_t flags(WatchId id) const;

    [[nodiscard]] bool empty() const noexcept { return order_.empty(); }

    /// Takes out the event of the watch that changed first.
    [[nodiscard]] std::optional<KernelQueue::Event> takeFirst();

  private:
    struct Watch {
        std::uint32_t fflags = 0;
        std::uint32_t pending = 0;
        std::weak_ptr<void> udata;
    };

    std::uint64_t lastId_ = 0;
    std::map<WatchId, Watch> watches_;
    std::deque<WatchId> order_; // the watches with something pending
};

} // namespace veltra
