#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperFailure.h"
#include "channel/protocol/HelperProtocol.h"

#include <functional>
#include <memory>
#include <string>

namespace veltra {

/// A connection to a privileged helper's service.
///
/// Functions may be called from any thread and never wait. Handlers and the exported object are
/// called on the connection's thread. The connection keeps them alive until it is released.
class HelperConnection {
  public:
    HelperConnection() = default;
    HelperConnection(const HelperConnection&) = delete;
    HelperConnection& operator=(const HelperConnection&) = delete;
    virtual ~HelperConnection() = default;

    /// Sets the object that the helper calls. Call it before resume().
    virtual void setExportedObject(std::shared_ptr<AppProtocol> app) = 0;
    /// Called once, when the connection has ended by itself or by invalidate(). May be empty.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;
    virtual void resume() = 0;
    virtual void invalidate() = 0;

    /// The helper; `onFailure` is called if a completion will never be called.
    [[nodiscard]] virtual std::shared_ptr<HelperProtocol>
    remoteObjectProxyWithErrorHandler(std::function<void(const HelperFailure&)> onFailure) = 0;
};

/// A connection over the system bus.
[[nodiscard]] std::shared_ptr<HelperConnection>
makeSystemHelperConnection(const char* machServiceName);

} // namespace veltra
