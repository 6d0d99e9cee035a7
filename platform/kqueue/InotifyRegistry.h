#pragma once

#include "platform/kqueue/InotifyInstance.h"
#include "platform/kqueue/PendingEvents.h"
#include "platform/kqueue/VnodeChanges.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace veltra {

/// The watches of one inotify instance and what has happened to them.
///
/// The kernel is always asked for every event that can be part of a vnode event, and the masks of
/// the watches are applied here, so changing a mask cannot fail. Watches of one inode share the
/// kernel's watch, whose mask is the union of what they need.
///
/// inotify has no record for a watched folder that is removed while a descriptor is open on it. So
/// its parent is watched too, and the folder is checked whenever a folder is removed from the
/// parent. If the parent may not be read, such a removal is noticed only with the next change of
/// the folder.
///
/// Not noticed: changes by another machine on a network file system, and changes of contents under
/// /proc and /sys. Not thread-safe.
class InotifyRegistry {
  public:
    [[nodiscard]] static Result<InotifyRegistry> open();

    [[nodiscard]] int descriptor() const noexcept { return inotify_.descriptor(); }

    /// Starts a watch. Earlier changes are reported only to the older watches, so events may have
    /// become pending when this returns.
    [[nodiscard]] Result<WatchId> add(int descriptor, std::uint32_t fflags,
                                      std::weak_ptr<void> udata);
    void remove(WatchId id);

    /// Replaces the mask; the old one applies to earlier changes. See add().
    void setFlags(WatchId id, std::uint32_t fflags);

    /// Reads all records that the kernel has. Returns false if reading failed.
    bool collect();

    [[nodiscard]] bool hasPending() const noexcept { return !pending_.empty(); }

    /// Removes and returns the first pending event.
    [[nodiscard]] std::optional<KernelQueue::Event> takeFirst() { return pending_.takeFirst(); }

  private:
    // Everything seen of a watch up to a position in the stream of records.
    struct Arrival {
        std::uint64_t position = 0;
        VnodeHints hints = 0;
    };

    struct Watch {
        int descriptor = -1;
        VnodeState state;
        int wd = -1;
        int parentWd = -1;
        std::vector<Arrival> arrivals; // since the last check; one for each new hint
    };

    // What one kernel watch is used for.
    struct Roles {
        std::vector<WatchId> watched;
        std::vector<WatchId> parentOf;
    };

    struct Finding {
        std::uint64_t position = 0;
        WatchId id{};
        std::uint32_t changes = 0;
    };

    explicit InotifyRegistry(InotifyInstance inotify) : inotify_{std::move(inotify)} {}

    [[nodiscard]] Result<int> addRole(std::vector<WatchId> Roles::*role, WatchId id, int descriptor,
                                      std::uint32_t mask);
    void dropRole(std::vector<WatchId> Roles::*role, WatchId id, int wd);
    [[nodiscard]] Result<> watchParent(WatchId id, Watch& watch);
    void forget(int wd);

    void take(const InotifyInstance::Record& record);
    void takeOverflow();
    void hint(WatchId id, VnodeHints hints);

    void examineHinted();
    [[nodiscard]] Finding look(WatchId id, Watch& watch);
    [[nodiscard]] static VnodeState presentState(const Watch& watch, VnodeHints hints);

    InotifyInstance inotify_;
    PendingEvents pending_;
    std::map<WatchId, Watch> watches_;
    std::unordered_map<int, Roles> roles_; // by watch descriptor
    std::vector<WatchId> hinted_;          // the watches that have arrivals
    std::uint64_t position_ = 0;
};

} // namespace veltra
