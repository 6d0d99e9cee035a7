#pragma once

#include "platform/base/Fd.h"

#include <string>

namespace intruder {

/// Runs a bus of its own in `folder`, as the configuration bus.conf there says, and owns the
/// helper's name on it. On the socket, which is the trusted program's on the system's bus, it asks
/// the real helper for a connection once somebody has called the false one, and hands on the
/// challenge to the trusted program. Never returns.
[[noreturn]] void relay(veltra::Fd socket, const std::string& folder);

} // namespace intruder
