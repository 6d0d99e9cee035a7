#pragma once

#include "platform/base/Fd.h"

#include <string>

namespace intruder {

/// Runs a private bus in `folder`, configured by bus.conf there, and owns the helper's name on it.
/// On the socket, which is the trusted program's on the system's bus, it asks the real helper for a
/// connection once somebody has called the false one, and passes the challenge on to the trusted
/// program. Never returns.
[[noreturn]] void relay(veltra::Fd socket, const std::string& folder);

} // namespace intruder
