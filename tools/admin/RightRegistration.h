#pragma once

#include "tools/admin/AdminError.h"

namespace veltra {

/// Registers the rights that guard the helper's commands with polkit, and waits for two seconds at
/// most until polkit knows them. Fails with AdminError::rightExists if any rights are registered
/// already.
[[nodiscard]] Result<> addRights();

/// The same, but replaces rights that are registered already.
[[nodiscard]] Result<> changeRights();

} // namespace veltra
