#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperProtocol.h"
#include "platform/bus/ServiceConnection.h"

#include <memory>

namespace veltra {

// The protocols on the bus, as the helper has them. On the thread of the listener's loop.

/// Puts `helper`, which must outlive the slot, on the bus as the object of `connection`, which
/// keeps the slot. What `helper` throws reaches the caller as an error.
[[nodiscard]] BusSlot exportHelperProtocol(const ServiceConnection& connection,
                                           HelperProtocol& helper);

/// The client's object at the other end of a connection. A NUL character, which the bus does not
/// carry, arrives as U+FFFD. What is said when the bus has gone away is lost.
[[nodiscard]] std::shared_ptr<AppProtocol>
remoteAppProtocol(const ServiceConnection::Place& remoteObject);

} // namespace veltra
