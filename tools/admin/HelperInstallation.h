#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Installs the bundle's helper so that the bus starts it on the first call (through systemd if
/// that runs), and ends an older one. The old helper keeps working until the new one replaces it.
[[nodiscard]] Result<> installHelper();

/// Removes everything that installHelper() and the registration of rights ever installed, and ends
/// the helper. Missing parts are no error.
[[nodiscard]] Result<> removeEverything();

} // namespace veltra
