#pragma once

#include "platform/base/Fd.h"
#include "platform/signing/CodeSigningServices.h"

#include <cstdint>

namespace veltra {

/// Opens the file that this process runs, wherever it is by now.
[[nodiscard]] SecOutcome<Fd> openOwnExecutable();

/// Opens the file that process `pid` runs. errSecCSNoSuchCode when there is no such process any
/// more, errSecCSCodeUnreadable when the system does not let us see it.
[[nodiscard]] SecOutcome<Fd> openExecutableOf(std::int32_t pid);

} // namespace veltra
