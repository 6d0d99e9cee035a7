#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperFailure.h"
#include "channel/protocol/HelperProtocol.h"
#include "platform/bus/ClientConnection.h"

#include <functional>
#include <memory>

namespace veltra {

// The protocols on the bus, from the client's side.

/// The receiver to give to a connection so that the helper can call `app`. It is called on the
/// bus's thread, and only for the helper's current instance. The connection keeps `app` alive.
[[nodiscard]] ClientConnection::Receiver exportAppProtocol(std::shared_ptr<AppProtocol> app);

/// The helper at the other end of `connection`. Its functions may be called from any thread and
/// never wait; completions are called on the bus's thread. If a completion will never be called,
/// `onFailure` is called there instead, with the reason.
[[nodiscard]] std::shared_ptr<HelperProtocol>
remoteObjectProxyWithErrorHandler(std::shared_ptr<ClientConnection> connection,
                                  std::function<void(const HelperFailure&)> onFailure);

} // namespace veltra
