#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperProtocol.h"

#include <functional>
#include <memory>
#include <string>

namespace veltra {

/// A connection to a privileged helper's service.
///
/// Functions may be called from any thread and never wait. Handlers and what is exported are
/// called on the connection's thread. The connection keeps them until it is let go of.
class HelperConnection {
  public:
    HelperConnection() = default;
    HelperConnection(const HelperConnection&) = delete;
    HelperConnection& operator=(const HelperConnection&) = delete;
    virtual ~HelperConnection() = default;

    /// Who is called by the helper. Before resume().
    virtual void setExportedObject(std::shared_ptr<AppProtocol> app) = 0;
    /// Called once, when the connection has ended by itself or by invalidate(). Empty for none.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;
    virtual void resume() = 0;
    virtual void invalidate() = 0;

    /// The helper; `onFailure` is called when a completion will never be.
    [[nodiscard]] virtual std::shared_ptr<HelperProtocol>
    remoteObjectProxyWithErrorHandler(std::function<void()> onFailure) = 0;
};

/// A connection over the system bus.
[[nodiscard]] std::shared_ptr<HelperConnection>
makeSystemHelperConnection(const char* machServiceName);

} // namespace veltra
