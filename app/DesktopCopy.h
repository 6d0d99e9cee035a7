#pragma once

#include <QString>

namespace veltra {

/// Copies a file. The copy replaces `target` atomically, or not at all if it cannot be written
/// completely. A source that is missing, cannot be read or is not a regular file makes an empty
/// copy; one that grows meanwhile is copied up to its initial size.
void copyReplacing(const QString& source, const QString& target);

} // namespace veltra
