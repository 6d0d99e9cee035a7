#include "platform/kqueue/VnodeChanges.h"

#include "platform/kqueue/KernelQueue.h"

#include <sys/inotify.h>

namespace veltra {

namespace {

constexpr VnodeSigns entrySigns = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr VnodeSigns contentSigns = IN_MODIFY | IN_CLOSE_WRITE | entrySigns | IN_Q_OVERFLOW;
constexpr VnodeSigns attributeSigns = IN_ATTRIB | IN_Q_OVERFLOW;

// The size of a folder depends on the file system and means nothing here.
bool haveContentsChanged(const VnodeState& before, const VnodeState& now) noexcept
{
    return (!now.isFolder && now.size != before.size) || now.contentTime != before.contentTime;
}

bool wereTimesSet(VnodeSigns signs, const VnodeState& before, const VnodeState& now) noexcept
{
    return (signs & IN_ATTRIB) != 0 && now.hasAttributesOf(before) &&
           now.linkCount == before.linkCount && now.contentTime != before.contentTime;
}

bool wasWrittenThroughMapping(VnodeSigns signs, const VnodeState& before,
                              const VnodeState& now) noexcept
{
    if ((signs & IN_CLOSE_WRITE) == 0)
        return false;

    return wereTimesSet(signs, before, now) ? now.size != before.size
                                            : haveContentsChanged(before, now);
}

std::uint32_t writeOf(const VnodeState& before, const VnodeState& now) noexcept
{
    const bool hasGrown = !now.isFolder && now.size > before.size;
    return NOTE_WRITE | (hasGrown ? NOTE_EXTEND : 0U);
}

std::uint32_t contentChanges(VnodeSigns signs, const VnodeState& before,
                             const VnodeState& now) noexcept
{
    if ((signs & IN_MODIFY) == 0 && !wasWrittenThroughMapping(signs, before, now))
        return 0;

    return writeOf(before, now);
}

std::uint32_t entryChanges(VnodeSigns signs) noexcept
{
    if ((signs & entrySigns) == 0)
        return 0;

    return NOTE_WRITE | ((signs & IN_ISDIR) != 0 ? NOTE_LINK : 0U);
}

// A deletion may be found before its IN_ATTRIB arrives, which then finds no change.
bool isEchoOfDeletion(const VnodeState& before, const VnodeState& now) noexcept
{
    return before.linkCount == 0 && now.statusTime == before.statusTime;
}

std::uint32_t attributeChanges(VnodeSigns signs, const VnodeState& before,
                               const VnodeState& now) noexcept
{
    if ((signs & IN_ATTRIB) == 0)
        return 0;
    // Creating and removing subfolders changes a folder's number of links and has its own signs.
    const bool areLinksTold = now.isFolder && now.linkCount > 0;
    if (areLinksTold || now.linkCount == before.linkCount)
        return isEchoOfDeletion(before, now) ? 0U : NOTE_ATTRIB;

    return (now.linkCount > 0 ? NOTE_LINK : 0U) | (now.hasAttributesOf(before) ? 0U : NOTE_ATTRIB);
}

std::uint32_t deletion(VnodeSigns signs, const VnodeState& before, const VnodeState& now) noexcept
{
    const bool isGone = now.linkCount == 0 || (signs & IN_DELETE_SELF) != 0;
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

VnodeSigns vnodeSigns(std::uint32_t inotifyMask, bool hasName) noexcept
{
    if (!hasName)
        return inotifyMask & (IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVE_SELF |
                              IN_DELETE_SELF | IN_UNMOUNT | IN_Q_OVERFLOW);

    // Only creating and removing a subfolder changes the folder's own number of links.
    const bool concernsLinks = (inotifyMask & (IN_CREATE | IN_DELETE)) != 0;
    return inotifyMask & (entrySigns | (concernsLinks ? IN_ISDIR : 0U));
}

std::uint32_t vnodeChanges(VnodeSigns signs, const VnodeState& before,
                           const VnodeState& now) noexcept
{
    std::uint32_t changes = deletion(signs, before, now) | attributeChanges(signs, before, now);
    changes |= now.isFolder ? entryChanges(signs) : contentChanges(signs, before, now);
    if ((signs & IN_MOVE_SELF) != 0)
        changes |= NOTE_RENAME;
    if ((signs & IN_UNMOUNT) != 0)
        changes |= NOTE_REVOKE;
    if ((signs & IN_Q_OVERFLOW) != 0)
        changes |= differences(before, now);
    return changes;
}

VnodeState settledState(VnodeSigns signs, const VnodeState& before, const VnodeState& now)
{
    VnodeState settled = now;
    if ((signs & contentSigns) == 0) {
        settled.size = before.size;
        if (!wereTimesSet(signs, before, now))
            settled.contentTime = before.contentTime;
    }
    if ((signs & attributeSigns) == 0) {
        settled.mode = before.mode;
        settled.owner = before.owner;
        settled.group = before.group;
    }

    const VnodeSigns linkSigns = now.isFolder ? contentSigns : attributeSigns;
    if ((signs & linkSigns) == 0 && now.linkCount > 0)
        settled.linkCount = before.linkCount;
    if ((signs & IN_DELETE_SELF) != 0)
        settled.linkCount = 0;
    return settled;
}

} // namespace veltra
