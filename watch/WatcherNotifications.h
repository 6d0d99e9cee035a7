#pragma once

#include <QString>

#include <array>
#include <cstdint>

namespace veltra {

// The notifications about a watched path. The constants' names differ from their texts for
// historical reasons; other code relies on both.
extern const QString VXStatusFileWatcherRenameNotification;
extern const QString VXStatusFileWatcherWriteNotification;
extern const QString VXStatusFileWatcherDeleteNotification;
extern const QString VXStatusFileWatcherAttributeChangeNotification;
extern const QString VXStatusFileWatcherSizeIncreaseNotification;
extern const QString VXStatusFileWatcherLinkCountChangeNotification;
extern const QString VXStatusFileWatcherAccessRevocationNotification;

/// The names in the order in which the bits of one event are handled.
struct WatcherNotification {
    std::uint32_t note; ///< a NOTE_* bit
    const QString& name;
};
[[nodiscard]] const std::array<WatcherNotification, 7>& watcherNotifications();

} // namespace veltra
