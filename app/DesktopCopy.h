#pragma once

#include "platform/base/Error.h"

#include <QString>

#include <optional>

namespace veltra {

/// A copy that was made.
struct DesktopCopy {
    /// Why the source could not be read, or not to its end; the copy holds what was read.
    std::optional<Error> unread;
};

/// Copies a file. The copy replaces `target` atomically, whatever its permissions and its owner if
/// its folder allows that, or not at all if it cannot be written completely, which is an error.
///
/// A source that is missing, cannot be read or is not a regular file makes an empty copy; one that
/// grows meanwhile is copied up to its initial size, one that shrinks as far as it goes.
[[nodiscard]] Result<DesktopCopy> copyReplacing(const QString& source, const QString& target);

} // namespace veltra
