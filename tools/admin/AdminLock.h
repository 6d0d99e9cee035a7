#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

namespace veltra {

/// Waits until no other instance of the tool is working, and keeps others waiting for as long as
/// the result lives.
[[nodiscard]] Result<Fd> lockOutOthers();

} // namespace veltra
