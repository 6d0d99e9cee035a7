#include "channel/client/HelperConnection.h"

#include "channel/protocol/ClientSide.h"

#include <utility>

namespace veltra {

namespace {

class SystemHelperConnection : public HelperConnection,
                               public std::enable_shared_from_this<SystemHelperConnection> {
  public:
    explicit SystemHelperConnection(const char* name)
        : connection_{ClientConnection::initWithMachServiceName(name)}
    {
    }

    void setExportedObject(std::shared_ptr<AppProtocol> app) override
    {
        connection_.setExportedObject(exportAppProtocol(std::move(app)));
    }

    void setInvalidationHandler(std::function<void()> handler) override
    {
        connection_.setInvalidationHandler(std::move(handler));
    }

    void resume() override { connection_.resume(); }
    void invalidate() override { connection_.invalidate(); }

    std::shared_ptr<HelperProtocol>
    remoteObjectProxyWithErrorHandler(std::function<void(const HelperFailure&)> onFailure) override
    {
        return veltra::remoteObjectProxyWithErrorHandler({shared_from_this(), &connection_},
                                                         std::move(onFailure));
    }

  private:
    ClientConnection connection_;
};

} // namespace

std::shared_ptr<HelperConnection> makeSystemHelperConnection(const char* machServiceName)
{
    return std::make_shared<SystemHelperConnection>(machServiceName);
}

} // namespace veltra
