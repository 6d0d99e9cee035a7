#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Registers the rights that guard the helper's commands with polkit, and waits for two seconds at
/// most until polkit knows them. Fails with AdminError::rightExists when some are registered,
/// whichever they are.
[[nodiscard]] Result<> addRights();

/// The same, whether some are registered or not.
[[nodiscard]] Result<> changeRights();

} // namespace veltra
