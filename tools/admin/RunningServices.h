#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Makes systemd, if it runs, reload its units.
[[nodiscard]] Result<> reloadUnits();

/// Makes the system bus reload its policies and services, and waits until they are in force. A bus
/// that cannot be reached reads them when it starts.
[[nodiscard]] Result<> reloadBus();

/// Ends the installed helper, whatever version of it runs, and waits for its end. The next call
/// starts the helper that is installed by then.
[[nodiscard]] Result<> endHelper();

} // namespace veltra
