#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperProtocol.h"
#include "platform/bus/ClientConnection.h"

#include <functional>
#include <memory>

namespace veltra {

// The protocols on the bus, as a client of the helper has them.

/// What a connection is given so that the helper can call `app`, which is called on the bus's
/// thread, and only for the helper's present instance. The connection keeps `app`.
[[nodiscard]] ClientConnection::Receiver exportAppProtocol(std::shared_ptr<AppProtocol> app);

/// The helper at the other end of `connection`. Its functions may be called from any thread and
/// never wait; completions are called on the bus's thread. When a completion will never be called,
/// `onFailure` is, there too.
[[nodiscard]] std::shared_ptr<HelperProtocol>
remoteObjectProxyWithErrorHandler(std::shared_ptr<ClientConnection> connection,
                                  std::function<void()> onFailure);

} // namespace veltra
