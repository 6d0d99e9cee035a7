#include "platform/kqueue/InotifyRegistry.h"

#include "platform/base/Fd.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/inotify.h>

namespace veltra {

namespace {

constexpr std::uint32_t selfMask = IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;
constexpr std::uint32_t fileMask = selfMask | IN_MODIFY | IN_CLOSE_WRITE;
constexpr std::uint32_t folderMask =
    selfMask | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;

// If another folder is renamed over a folder, the replaced one gets IN_ATTRIB itself, so the parent
// is not needed for that.
constexpr std::uint32_t parentMask = IN_DELETE | IN_ONLYDIR;

bool mayNotBeRead(const Error& error)
{
    return error.code() == std::errc::permission_denied;
}

} // namespace

Result<InotifyRegistry> InotifyRegistry::open()
{
    auto inotify = InotifyInstance::open();
    if (!inotify)
        return inotify.error();

    return InotifyRegistry{std::move(inotify.value())};
}

Result<WatchId> InotifyRegistry::add(int descriptor, std::uint32_t fflags,
                                     std::weak_ptr<void> udata)
{
    collect();
    // Read before the watch is set, so that any later change finds an older state to differ from.
    auto state = VnodeState::of(descriptor);
    if (!state)
        return state.error();

    state.value().name = VnodeState::nameOf(descriptor);
    const WatchId id = pending_.add(fflags, std::move(udata));
    Watch& watch = watches_[id];
    watch.descriptor = descriptor;
    watch.state = std::move(state.value());

    const auto wd =
        addRole(&Roles::watched, id, descriptor, watch.state.isFolder ? folderMask : fileMask);
    if (!wd) {
        remove(id);
        return wd.error();
    }
    watch.wd = wd.value();

    const auto watched = watchParent(id, watch);
    if (!watched && !mayNotBeRead(watched.error())) {
        remove(id);
        return watched.error();
    }

    // The folder may have been removed while the watches were set.
    hint(id, mayBeGone);
    examineHinted();
    return id;
}

void InotifyRegistry::remove(WatchId id)
{
    const auto watch = watches_.find(id);
    if (watch == watches_.end())
        return;

    dropRole(&Roles::watched, id, watch->second.wd);
    dropRole(&Roles::parentOf, id, watch->second.parentWd);
    watches_.erase(watch);
    pending_.remove(id);
}

void InotifyRegistry::setFlags(WatchId id, std::uint32_t fflags)
{
    collect();
    pending_.setFlags(id, fflags);
}

bool InotifyRegistry::collect()
{
    const bool isRead = inotify_.drain([this](const auto& record) { take(record); });
    examineHinted();
    return isRead;
}

Result<int> InotifyRegistry::addRole(std::vector<WatchId> Roles::*role, WatchId id, int descriptor,
                                     std::uint32_t mask)
{
    auto wd = inotify_.add(descriptor, mask);
    if (wd)
        (roles_[wd.value()].*role).push_back(id);
    return wd;
}

void InotifyRegistry::dropRole(std::vector<WatchId> Roles::*role, WatchId id, int wd)
{
    const auto roles = roles_.find(wd);
    if (roles == roles_.end())
        return;

    std::erase(roles->second.*role, id);
    if (roles->second.watched.empty() && roles->second.parentOf.empty()) {
        inotify_.remove(wd);
        roles_.erase(roles);
    }
}

Result<> InotifyRegistry::watchParent(WatchId id, Watch& watch)
{
    dropRole(&Roles::parentOf, id, std::exchange(watch.parentWd, -1));
    if (!watch.state.isFolder || watch.state.linkCount == 0)
        return success;

    const Fd parent{openat(watch.descriptor, "..", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    if (!parent)
        return Error::last("open parent of folder", watch.state.name.base);

    const auto wd = addRole(&Roles::parentOf, id, parent.get(), parentMask);
    if (!wd)
        return wd.error();

    watch.parentWd = wd.value();
    return success;
}

// The kernel has ended this watch and never reuses its number.
void InotifyRegistry::forget(int wd)
{
    const auto roles = roles_.extract(wd);
    if (roles.empty())
        return;

    for (const WatchId id : roles.mapped().watched)
        watches_.at(id).wd = -1;
    for (const WatchId id : roles.mapped().parentOf)
        watches_.at(id).parentWd = -1;
}

void InotifyRegistry::take(const InotifyInstance::Record& record)
{
    ++position_;
    if ((record.mask & IN_Q_OVERFLOW) != 0)
        takeOverflow();

    // Records of watches that were removed meanwhile may still be queued.
    const auto roles = roles_.find(record.wd);
    if (roles == roles_.end())
        return;

    const VnodeHints hints = vnodeHints(record.mask, record.hasName);
    for (const WatchId id : roles->second.watched)
        hint(id, hints);
    if ((record.mask & IN_DELETE) != 0 && (record.mask & IN_ISDIR) != 0) {
        for (const WatchId id : roles->second.parentOf)
            hint(id, mayBeGone);
    }
    if ((record.mask & IN_IGNORED) != 0)
        forget(record.wd);
}

void InotifyRegistry::takeOverflow()
{
    for (const auto& [id, watch] : watches_)
        hint(id, IN_Q_OVERFLOW);
}

void InotifyRegistry::hint(WatchId id, VnodeHints hints)
{
    auto& arrivals = watches_.at(id).arrivals;
    const VnodeHints known = arrivals.empty() ? 0 : arrivals.back().hints;
    if ((hints & ~known) == 0)
        return;

    if (arrivals.empty())
        hinted_.push_back(id);
    arrivals.push_back({.position = position_, .hints = known | hints});
}

void InotifyRegistry::examineHinted()
{
    std::vector<Finding> findings;
    for (const WatchId id : std::exchange(hinted_, {}))
        findings.push_back(look(id, watches_.at(id)));

    std::ranges::stable_sort(findings, {}, &Finding::position);
    for (const Finding& finding : findings)
        pending_.record(finding.id, finding.changes);
}

InotifyRegistry::Finding InotifyRegistry::look(WatchId id, Watch& watch)
{
    const auto arrivals = std::exchange(watch.arrivals, {});
    const VnodeHints hints = arrivals.back().hints;
    // A moved folder has a different parent. This comes first: if the folder is removed from there
    // at this moment, either the check below or the new parent notices.
    if ((hints & (IN_MOVE_SELF | IN_Q_OVERFLOW)) != 0)
        static_cast<void>(watchParent(id, watch));

    const VnodeState now = presentState(watch, hints);
    const VnodeState before = std::exchange(watch.state, settledState(hints, watch.state, now));
    if (before.linkCount > 0 && watch.state.linkCount == 0)
        dropRole(&Roles::parentOf, id, std::exchange(watch.parentWd, -1));

    // An early hint may turn out to mean nothing, so the first hint that means something sets the
    // position.
    const std::uint32_t changes = vnodeChanges(hints, before, now);
    const std::uint32_t wanted = changes & pending_.flags(id);
    const auto first = std::ranges::find_if(arrivals, [&](const Arrival& arrival) {
        return (vnodeChanges(arrival.hints, before, now) & wanted) != 0;
    });
    return {.position = first != arrivals.end() ? first->position : position_,
            .id = id,
            .changes = changes};
}

VnodeState InotifyRegistry::presentState(const Watch& watch, VnodeHints hints)
{
    auto state = VnodeState::of(watch.descriptor);
    if (!state)
        return watch.state;

    const bool mayBeRenamed = (hints & (IN_MOVE_SELF | IN_Q_OVERFLOW)) != 0;
    state.value().name = mayBeRenamed ? VnodeState::nameOf(watch.descriptor) : watch.state.name;
    return std::move(state.value());
}

} // namespace veltra
