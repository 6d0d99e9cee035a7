#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Has systemd, where it runs, read the units anew.
[[nodiscard]] Result<> reloadUnits();

/// Has the system bus read its policies and services anew, and waits until they are in force. A
/// bus that cannot be reached reads them when it starts.
[[nodiscard]] Result<> reloadBus();

/// Ends the installed helper, whichever version of it runs, and waits for its end. The next call
/// starts the one that is installed then.
[[nodiscard]] Result<> endHelper();

} // namespace veltra
