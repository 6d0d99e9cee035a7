#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperProtocol.h"
#include "platform/ServiceConnection.h"

#include <memory>

namespace veltra {

// The protocols on the bus, as the helper has them. On the thread of the listener's loop.

/// Puts `helper`, which must outlive the bus's thread, on the bus as the object of `connection`.
/// What `helper` throws reaches the caller as an error.
[[nodiscard]] std::shared_ptr<void> exportHelperProtocol(const ServiceConnection& connection,
                                                         HelperProtocol& helper);

/// The client's object at the other end of `connection`. A NUL character, which the bus does not
/// carry, arrives as U+FFFD. May throw an sdbus::Error when it is used.
/// Must not outlive the bus.
[[nodiscard]] std::shared_ptr<AppProtocol>
remoteAppProtocol(const ServiceConnection::Place& remoteObject);

} // namespace veltra
