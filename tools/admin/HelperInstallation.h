#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Installs the bundle's helper, so that the bus, by systemd where that runs, starts it at its
/// first call; ends an older one. Up to where the new helper takes its place the old one works on.
[[nodiscard]] Result<> installHelper();

/// Removes all that installHelper() and the registration of rights ever put anywhere, and ends the
/// helper. It does not matter how much of it there is.
[[nodiscard]] Result<> removeEverything();

} // namespace veltra
