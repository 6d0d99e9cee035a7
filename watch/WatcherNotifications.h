#pragma once

#include <QString>

#include <array>
#include <cstdint>

namespace veltra {

// What is posted about a watched path; the constants' names differ from the texts on purpose of
// old, and both are relied on.
extern const QString VXStatusFileWatcherRenameNotification;
extern const QString VXStatusFileWatcherWriteNotification;
extern const QString VXStatusFileWatcherDeleteNotification;
extern const QString VXStatusFileWatcherAttributeChangeNotification;
extern const QString VXStatusFileWatcherSizeIncreaseNotification;
extern const QString VXStatusFileWatcherLinkCountChangeNotification;
extern const QString VXStatusFileWatcherAccessRevocationNotification;

/// The names in the order in which the bits of one event are worked through.
struct WatcherNotification {
    std::uint32_t note; ///< a NOTE_* bit
    const QString& name;
};
[[nodiscard]] const std::array<WatcherNotification, 7>& watcherNotifications();

} // namespace veltra
