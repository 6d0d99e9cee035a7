#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperProtocol.h"
#include "platform/bus/ServiceConnection.h"

#include <functional>
#include <memory>

namespace veltra {

// The protocols on the bus, from the helper's side. Use them on the thread of the listener's loop.

/// Registers `helper` on the bus as the object of `connection`. The connection keeps the returned
/// slot, which `helper` must outlive. Exceptions from `helper` reach the caller as errors.
[[nodiscard]] Result<BusSlot> exportHelperProtocol(const ServiceConnection& connection,
                                                   HelperProtocol& helper);

/// The client's object at the other end of a connection.
class RemoteApp : public AppProtocol {
  public:
    /// Whether the client has taken so much of its output that it may be sent more: at most a
    /// mebibyte is on its way. What is sent although there is no room is not lost.
    [[nodiscard]] virtual bool hasRoom() const = 0;
};

/// `onProgress` is called whenever the client has taken more. Texts must be valid UTF-8. Characters
/// that cannot be sent over the bus, NUL and Unicode's noncharacters, arrive as U+FFFD. Output that
/// is sent after the bus has gone away is lost.
[[nodiscard]] std::shared_ptr<RemoteApp>
remoteAppProtocol(const ServiceConnection::Place& remoteObject, std::function<void()> onProgress);

} // namespace veltra
