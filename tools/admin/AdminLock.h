#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <chrono>

namespace veltra {

/// Waits until no other instance of the tool is working, and keeps others waiting for as long as
/// the result lives. Fails when another has not ended after `patience`; the error names its
/// process.
[[nodiscard]] Result<Fd> lockOutOthers(const char* path = "/run/veltra-admin-tool.lock",
                                       std::chrono::milliseconds patience = std::chrono::seconds{
                                           30});

} // namespace veltra
