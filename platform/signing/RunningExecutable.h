#pragma once

#include "platform/base/Fd.h"
#include "platform/signing/CodeSigningServices.h"

#include <cstdint>

namespace veltra {

/// Opens the file that this process runs, even if it was moved or replaced.
[[nodiscard]] SecOutcome<Fd> openOwnExecutable();

/// Opens the file that process `pid` runs. errSecCSNoSuchCode if the process no longer exists,
/// errSecCSCodeUnreadable if the system does not permit it.
[[nodiscard]] SecOutcome<Fd> openExecutableOf(std::int32_t pid);

} // namespace veltra
