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
    sign(id, mayBeGone);
    lookAtSigned();
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
    lookAtSigned();
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

    const VnodeSigns signs = vnodeSigns(record.mask, record.hasName);
    for (const WatchId id : roles->second.watched)
        sign(id, signs);
    if ((record.mask & IN_DELETE) != 0 && (record.mask & IN_ISDIR) != 0) {
        for (const WatchId id : roles->second.parentOf)
            sign(id, mayBeGone);
    }
    if ((record.mask & IN_IGNORED) != 0)
        forget(record.wd);
}

void InotifyRegistry::takeOverflow()
{
    for (const auto& [id, watch] : watches_)
        sign(id, IN_Q_OVERFLOW);
}

void InotifyRegistry::sign(WatchId id, VnodeSigns signs)
{
    auto& sights = watches_.at(id).sights;
    const VnodeSigns known = sights.empty() ? 0 : sights.back().signs;
    if ((signs & ~known) == 0)
        return;

    if (sights.empty())
        signed_.push_back(id);
    sights.push_back({.position = position_, .signs = known | signs});
}

void InotifyRegistry::lookAtSigned()
{
    std::vector<Finding> findings;
    for (const WatchId id : std::exchange(signed_, {}))
        findings.push_back(look(id, watches_.at(id)));

    std::ranges::stable_sort(findings, {}, &Finding::position);
    for (const Finding& finding : findings)
        pending_.record(finding.id, finding.changes);
}

InotifyRegistry::Finding InotifyRegistry::look(WatchId id, Watch& watch)
{
    const auto sights = std::exchange(watch.sights, {});
    const VnodeSigns signs = sights.back().signs;
    // A moved folder has a different parent. This comes first: if the folder is removed from there
    // at this moment, either the check below or the new parent notices.
    if ((signs & (IN_MOVE_SELF | IN_Q_OVERFLOW)) != 0)
        static_cast<void>(watchParent(id, watch));

    const VnodeState now = presentState(watch, signs);
    const VnodeState before = std::exchange(watch.state, settledState(signs, watch.state, now));
    if (before.linkCount > 0 && watch.state.linkCount == 0)
        dropRole(&Roles::parentOf, id, std::exchange(watch.parentWd, -1));

    // An early sign may turn out to mean nothing, so the first sign that means something sets the
    // position.
    const std::uint32_t changes = vnodeChanges(signs, before, now);
    const std::uint32_t wanted = changes & pending_.flags(id);
    const auto first = std::ranges::find_if(sights, [&](const Sight& sight) {
        return (vnodeChanges(sight.signs, before, now) & wanted) != 0;
    });
    return {.position = first != sights.end() ? first->position : position_,
            .id = id,
            .changes = changes};
}

VnodeState InotifyRegistry::presentState(const Watch& watch, VnodeSigns signs)
{
    auto state = VnodeState::of(watch.descriptor);
    if (!state)
        return watch.state;

    const bool mayBeRenamed = (signs & (IN_MOVE_SELF | IN_Q_OVERFLOW)) != 0;
    state.value().name = mayBeRenamed ? VnodeState::nameOf(watch.descriptor) : watch.state.name;
    return std::move(state.value());
}

} // namespace veltra
