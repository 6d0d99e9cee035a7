#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Undoes what the unprivileged user who had this program started may have left in it to have it
/// fail or stop halfway: file mode mask, folder, session, signals, timers, resource limits, missing
/// standard streams, environment.
///
/// To be called before anything else, on the only thread. When it fails nothing must be touched.
[[nodiscard]] Result<> hardenStart();

} // namespace veltra
