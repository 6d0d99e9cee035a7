#pragma once

#include "platform/base/Fd.h"

#include <string>

namespace intruder {

/// Runs a private bus in `folder`, configured by bus.conf there, and owns the helper's name on it.
/// On the socket, which is the trusted program's on the system's bus, it asks the real helper for a
/// connection, with what the trusted program sends to the false one to prove itself on. Never
/// returns.
[[noreturn]] void relay(veltra::Fd socket, const std::string& folder);

} // namespace intruder
