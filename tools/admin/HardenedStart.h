#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Resets everything that the unprivileged user who started this program may have set up to make it
/// fail or stop halfway: file mode mask, working folder, session, signals, timers, resource limits,
/// missing standard streams, environment.
///
/// Call it before anything else, while there is only one thread. If it fails, change nothing.
[[nodiscard]] Result<> hardenStart();

} // namespace veltra
