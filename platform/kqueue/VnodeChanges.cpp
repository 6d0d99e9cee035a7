#include "platform/kqueue/VnodeChanges.h"

#include "platform/kqueue/KernelQueue.h"

#include <sys/inotify.h>

namespace veltra {

namespace {

constexpr VnodeHints entryHints = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr VnodeHints contentHints = IN_MODIFY | IN_CLOSE_WRITE | entryHints | IN_Q_OVERFLOW;
constexpr VnodeHints attributeHints = IN_ATTRIB | IN_Q_OVERFLOW;

// The size of a folder depends on the file system and means nothing here.
bool haveContentsChanged(const VnodeState& before, const VnodeState& now) noexcept
{
    return (!now.isFolder && now.size != before.size) || now.contentTime != before.contentTime;
}

bool wereTimesSet(VnodeHints hints, const VnodeState& before, const VnodeState& now) noexcept
{
    return (hints & IN_ATTRIB) != 0 && now.hasAttributesOf(before) &&
           now.linkCount == before.linkCount && now.contentTime != before.contentTime;
}

bool wasWrittenThroughMapping(VnodeHints hints, const VnodeState& before,
                              const VnodeState& now) noexcept
{
    if ((hints & IN_CLOSE_WRITE) == 0)
        return false;

    return wereTimesSet(hints, before, now) ? now.size != before.size
                                            : haveContentsChanged(before, now);
}

std::uint32_t writeOf(const VnodeState& before, const VnodeState& now) noexcept
{
    const bool hasGrown = !now.isFolder && now.size > before.size;
    return NOTE_WRITE | (hasGrown ? NOTE_EXTEND : 0U);
}

std::uint32_t contentChanges(VnodeHints hints, const VnodeState& before,
                             const VnodeState& now) noexcept
{
    if ((hints & IN_MODIFY) == 0 && !wasWrittenThroughMapping(hints, before, now))
        return 0;

    return writeOf(before, now);
}

std::uint32_t entryChanges(VnodeHints hints) noexcept
{
    if ((hints & entryHints) == 0)
        return 0;

    return NOTE_WRITE | ((hints & IN_ISDIR) != 0 ? NOTE_LINK : 0U);
}

// A deletion may be found before its IN_ATTRIB arrives, which then finds no change.
bool isEchoOfDeletion(const VnodeState& before, const VnodeState& now) noexcept
{
    return before.linkCount == 0 && now.statusTime == before.statusTime;
}

std::uint32_t attributeChanges(VnodeHints hints, const VnodeState& before,
                               const VnodeState& now) noexcept
{
    if ((hints & IN_ATTRIB) == 0)
        return 0;
    // Creating and removing subfolders changes a folder's number of links and has its own hints.
    const bool areLinksTold = now.isFolder && now.linkCount > 0;
    if (areLinksTold || now.linkCount == before.linkCount)
        return isEchoOfDeletion(before, now) ? 0U : NOTE_ATTRIB;

    return (now.linkCount > 0 ? NOTE_LINK : 0U) | (now.hasAttributesOf(before) ? 0U : NOTE_ATTRIB);
}

std::uint32_t deletion(VnodeHints hints, const VnodeState& before, const VnodeState& now) noexcept
{
    const bool isGone = now.linkCount == 0 || (hints & IN_DELETE_SELF) != 0;
    return isGone && before.linkCount > 0 ? NOTE_DELETE : 0U;
}

std::uint32_t linkDifference(const VnodeState& before, const VnodeState& now) noexcept
{
    return now.linkCount > 0 && now.linkCount != before.linkCount ? NOTE_LINK : 0U;
}

std::uint32_t nameDifference(const VnodeState& before, const VnodeState& now) noexcept
{
    const bool isKnown = !before.name.base.empty() && !now.name.base.empty();
    return isKnown && now.linkCount > 0 && now.name != before.name ? NOTE_RENAME : 0U;
}

std::uint32_t differences(const VnodeState& before, const VnodeState& now) noexcept
{
    std::uint32_t changes = linkDifference(before, now) | nameDifference(before, now);
    const bool isExplained =
        changes != 0 || now.linkCount != before.linkCount || now.statusTime == now.contentTime;

    if (haveContentsChanged(before, now))
        changes |= writeOf(before, now);
    if (!now.hasAttributesOf(before) || (now.statusTime != before.statusTime && !isExplained))
        changes |= NOTE_ATTRIB;
    return changes;
}

} // namespace

VnodeHints vnodeHints(std::uint32_t inotifyMask, bool hasName) noexcept
{
    if (!hasName)
        return inotifyMask & (IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVE_SELF |
                              IN_DELETE_SELF | IN_UNMOUNT | IN_Q_OVERFLOW);

    // Only creating and removing a subfolder changes the folder's own number of links.
    const bool concernsLinks = (inotifyMask & (IN_CREATE | IN_DELETE)) != 0;
    return inotifyMask & (entryHints | (concernsLinks ? IN_ISDIR : 0U));
}

std::uint32_t vnodeChanges(VnodeHints hints, const VnodeState& before,
                           const VnodeState& now) noexcept
{
    std::uint32_t changes = deletion(hints, before, now) | attributeChanges(hints, before, now);
    changes |= now.isFolder ? entryChanges(hints) : contentChanges(hints, before, now);
    if ((hints & IN_MOVE_SELF) != 0)
        changes |= NOTE_RENAME;
    if ((hints & IN_UNMOUNT) != 0)
        changes |= NOTE_REVOKE;
    if ((hints & IN_Q_OVERFLOW) != 0)
        changes |= differences(before, now);
    return changes;
}

VnodeState settledState(VnodeHints hints, const VnodeState& before, const VnodeState& now)
{
    VnodeState settled = now;
    if ((hints & contentHints) == 0) {
        settled.size = before.size;
        if (!wereTimesSet(hints, before, now))
            settled.contentTime = before.contentTime;
    }
    if ((hints & attributeHints) == 0) {
        settled.mode = before.mode;
        settled.owner = before.owner;
        settled.group = before.group;
    }

    const VnodeHints linkHints = now.isFolder ? contentHints : attributeHints;
    if ((hints & linkHints) == 0 && now.linkCount > 0)
        settled.linkCount = before.linkCount;
    if ((hints & IN_DELETE_SELF) != 0)
        settled.linkCount = 0;
    return settled;
}

} // namespace veltra
