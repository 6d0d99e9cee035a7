#pragma once

#include "platform/kqueue/VnodeState.h"

#include <cstdint>

namespace veltra {

/// Hints that something may have happened to a watched file or folder: bits of inotify(7) that were
/// seen since the last check, OR-ed. One record never has both bits about entries of a folder
/// (IN_CREATE, IN_DELETE, IN_MOVED_FROM, IN_MOVED_TO) and bits about the folder itself, but one set
/// of hints can. IN_Q_OVERFLOW means that any hint may be missing.
using VnodeHints = std::uint32_t;

/// The hint that the last name may have been removed, and nothing else.
inline constexpr VnodeHints mayBeGone = 1U << 16;

/// The hints in one inotify record. Changes inside a folder's entries give no hint.
[[nodiscard]] VnodeHints vnodeHints(std::uint32_t inotifyMask, bool hasName) noexcept;

/// The NOTE_* bits for a file or folder that had the state `before` and, with `hints` seen since,
/// has the state `now`. Hints say that something needs checking; the state says what happened:
///
/// - IN_MODIFY is NOTE_WRITE, plus NOTE_EXTEND if the file grew. Writing through a mapping gives
///   only IN_CLOSE_WRITE. That counts if the size or the content time changed, unless somebody set
///   the times meanwhile: IN_ATTRIB with mode, owner, group and number of links unchanged.
/// - IN_ATTRIB is NOTE_LINK if the number of links changed, otherwise NOTE_ATTRIB.
/// - With any hint, NOTE_DELETE is reported when the last link is found to be gone, and only once.
/// - After an overflow, every difference is reported. A new status time is then a NOTE_ATTRIB if
///   nothing else explains it; a write does, because it sets both times to the same value.
[[nodiscard]] std::uint32_t vnodeChanges(VnodeHints hints, const VnodeState& before,
                                         const VnodeState& now) noexcept;

/// The state to use as `before` in the next check: `now`, except for differences whose own hint has
/// not arrived yet and will need to find them.
[[nodiscard]] VnodeState settledState(VnodeHints hints, const VnodeState& before,
                                      const VnodeState& now);

} // namespace veltra
