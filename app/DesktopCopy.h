#pragma once

#include <QString>

namespace veltra {

/// Copies a file. The copy takes the place of what is at `target` at one blow, or not at all when
/// it cannot be written whole. A source that is missing, cannot be read or is no regular file
/// makes an empty copy; one that grows meanwhile is copied up to the size it had.
void copyReplacing(const QString& source, const QString& target);

} // namespace veltra
