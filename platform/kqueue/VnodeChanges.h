#pragma once

#include "platform/kqueue/VnodeState.h"

#include <cstdint>

namespace veltra {

/// Signs that something may have happened to a watched file or folder: bits of inotify(7) that
/// were seen since the last look, OR-ed. Bits about entries of a folder (IN_CREATE, IN_DELETE,
/// IN_MOVED_FROM, IN_MOVED_TO) never come with a bit about the folder itself in one record, but
/// do in one set of signs. IN_Q_OVERFLOW says that any sign may be missing.
using VnodeSigns = std::uint32_t;

/// The sign that the last name may be gone; about nothing else.
inline constexpr VnodeSigns mayBeGone = 1U << 16;

/// The signs in one inotify record. What happens to the inside of a folder's entries is none.
[[nodiscard]] VnodeSigns vnodeSigns(std::uint32_t inotifyMask, bool hasName) noexcept;

/// The NOTE_* bits for a file or folder that looked like `before` and, with `signs` seen since,
/// looks like `now`. Signs say that there is something to look at, the state says what it is:
///
/// - IN_MODIFY is NOTE_WRITE, and NOTE_EXTEND when the file grew. Writing through a mapping gives
///   only IN_CLOSE_WRITE, which counts when size or content time changed, unless somebody set the
///   times meanwhile: IN_ATTRIB with mode, owner, group and number of links as they were.
/// - IN_ATTRIB is NOTE_LINK when the number of links changed, else NOTE_ATTRIB.
/// - Whatever the sign, NOTE_DELETE is given when the last link is found gone, and only once.
/// - After an overflow every difference is reported. A new status time is then an NOTE_ATTRIB if
///   nothing else explains it; a write does, as it sets both times alike.
[[nodiscard]] std::uint32_t vnodeChanges(VnodeSigns signs, const VnodeState& before,
                                         const VnodeState& now) noexcept;

/// What to keep as `before` for the next look: `now`, except for differences whose own sign is
/// still on its way and will want to find them.
[[nodiscard]] VnodeState settledState(VnodeSigns signs, const VnodeState& before,
                                      const VnodeState& now);

} // namespace veltra
