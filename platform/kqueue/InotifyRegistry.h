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
/// The kernel is always asked for everything that can make up a vnode event, and the masks of the
/// watches are applied here, so that changing a mask cannot fail. Watches of one inode share the
/// kernel's watch, whose mask is the union of what they need.
///
/// A folder that is removed while a descriptor holds it gets no record of its own, so its parent
/// is watched too, and whenever a folder is removed from it the held one is looked at. Where the
/// parent may not be read, such a removal is noticed only with the next change of the folder.
///
/// What cannot be seen: changes that another machine makes on a network file system, and contents
/// under /proc and /sys. Not thread-safe.
class InotifyRegistry {
  public:
    [[nodiscard]] static Result<InotifyRegistry> open();

    [[nodiscard]] int descriptor() const noexcept { return inotify_.descriptor(); }

    /// Starts a watch. What happened before is credited to the older watches only, so events may
    /// have become pending when this returns.
    [[nodiscard]] Result<WatchId> add(int descriptor, std::uint32_t fflags,
                                      std::weak_ptr<void> udata);
    void remove(WatchId id);

    /// Replaces the mask; what happened before is judged by the old one. See add().
    void setFlags(WatchId id, std::uint32_t fflags);

    /// Takes in everything that the kernel has to tell. False when reading failed.
    bool collect();

    [[nodiscard]] bool hasPending() const noexcept { return !pending_.empty(); }

    /// Takes out the first pending event.
    [[nodiscard]] std::optional<KernelQueue::Event> takeFirst() { return pending_.takeFirst(); }

  private:
    // Everything seen of a watch up to a position in the stream of records.
    struct Sight {
        std::uint64_t position = 0;
        VnodeSigns signs = 0;
    };

    struct Watch {
        int descriptor = -1;
        VnodeState state;
        int wd = -1;
        int parentWd = -1;
        std::vector<Sight> sights; // since the last look; one for each that added a sign
    };

    // What one kernel watch is there for.
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
    void sign(WatchId id, VnodeSigns signs);

    void lookAtSigned();
    [[nodiscard]] Finding look(WatchId id, Watch& watch);
    [[nodiscard]] static VnodeState presentState(const Watch& watch, VnodeSigns signs);

    InotifyInstance inotify_;
    PendingEvents pending_;
    std::map<WatchId, Watch> watches_;
    std::unordered_map<int, Roles> roles_; // by watch descriptor
    std::vector<WatchId> signed_;          // the watches with sights
    std::uint64_t position_ = 0;
};

} // namespace veltra
