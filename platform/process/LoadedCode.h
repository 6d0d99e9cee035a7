#pragma once

#include "platform/base/Error.h"

#include <sys/types.h>

namespace veltra {

/// Fails unless every file that process `pid` has mapped as executable is the file that is at its
/// path now, belongs to root alone, is not on a nosuid mount, and is unchanged in memory.
///
/// The reason is one of Distrust, with the file's path. May block in a file system that the
/// process's user serves.
[[nodiscard]] Result<> checkLoadedCode(pid_t pid);

} // namespace veltra
