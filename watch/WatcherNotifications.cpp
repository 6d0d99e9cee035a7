#include "watch/WatcherNotifications.h"

#include "platform/kqueue/KernelQueue.h"

namespace veltra {

const QString VXStatusFileWatcherRenameNotification =
    QStringLiteral("VXStatusQueueFileRenamedNotification");
const QString VXStatusFileWatcherWriteNotification =
    QStringLiteral("VXStatusQueueFileWrittenToNotification");
const QString VXStatusFileWatcherDeleteNotification =
    QStringLiteral("VXStatusQueueFileDeletedNotification");
const QString VXStatusFileWatcherAttributeChangeNotification =
    QStringLiteral("VXStatusQueueFileAttributesChangedNotification");
const QString VXStatusFileWatcherSizeIncreaseNotification =
    QStringLiteral("VXStatusQueueFileSizeIncreasedNotification");
const QString VXStatusFileWatcherLinkCountChangeNotification =
    QStringLiteral("VXStatusQueueFileLinkCountChangedNotification");
const QString VXStatusFileWatcherAccessRevocationNotification =
    QStringLiteral("VXStatusQueueFileAccessRevocationNotification");

const std::array<WatcherNotification, 7>& watcherNotifications()
{
    static const std::array<WatcherNotification, 7> inOrder{{
        {NOTE_RENAME, VXStatusFileWatcherRenameNotification},
        {NOTE_WRITE, VXStatusFileWatcherWriteNotification},
        {NOTE_DELETE, VXStatusFileWatcherDeleteNotification},
        {NOTE_ATTRIB, VXStatusFileWatcherAttributeChangeNotification},
        {NOTE_EXTEND, VXStatusFileWatcherSizeIncreaseNotification},
        {NOTE_LINK, VXStatusFileWatcherLinkCountChangeNotification},
        {NOTE_REVOKE, VXStatusFileWatcherAccessRevocationNotification},
    }};
    return inOrder;
}

} // namespace veltra
