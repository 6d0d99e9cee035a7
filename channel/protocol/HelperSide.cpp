#include "channel/protocol/HelperSide.h"

#include "channel/protocol/AppProtocol-proxy.h"
#include "channel/protocol/HelperProtocol-adaptor.h"
#include "platform/ConnectionNames.h"
#include "platform/SystemLog.h"

#include <exception>
#include <utility>

namespace veltra {

namespace {

using com::veltra::agentMonitor::AppProtocol_proxy;
using com::veltra::agentMonitor::HelperProtocol_adaptor;

/// A reply that somebody waits for. It may be owed for longer than the connection lasts; one that
/// is forgotten is an error.
template <typename T>
class OwedReply {
  public:
    OwedReply(std::shared_ptr<void> object, sdbus::Result<T>&& result)
        : object_{std::move(object)}, result_{std::move(result)}
    {
    }

    OwedReply(const OwedReply&) = delete;
    OwedReply& operator=(const OwedReply&) = delete;

    ~OwedReply()
    {
        try {
            if (!isGiven_)
                refuse(sdbus::Error{connections::failedError, "it could not be done"});
        } catch (const sdbus::Error& error) {
            SystemLog::log({"a client cannot be answered: ", error.getMessage()});
        }
    }

    void give(const T& value)
    {
        isGiven_ = true;
        result_.returnResults(value);
    }

    void refuse(const sdbus::Error& error)
    {
        isGiven_ = true;
        result_.returnError(error);
    }

  private:
    std::shared_ptr<void> object_; // outlives the result, which refers to what it registered
    sdbus::Result<T> result_;
    bool isGiven_ = false;
};

/// Keeps what has to be destroyed after the object that is on it.
struct KeptBus {
    std::shared_ptr<sdbus::IConnection> bus;
};

class HelperProtocolObject : private KeptBus,
                             public sdbus::AdaptorInterfaces<HelperProtocol_adaptor>,
                             public std::enable_shared_from_this<HelperProtocolObject> {
  public:
    HelperProtocolObject(const ServiceConnection& connection, HelperProtocol& helper)
        : KeptBus{connection.exportedObject().bus},
          AdaptorInterfaces{*bus, connection.exportedObject().path},
          connection_{connection.weak_from_this()}, helper_{helper}
    {
        registerAdaptor();
    }

    HelperProtocolObject(const HelperProtocolObject&) = delete;
    HelperProtocolObject& operator=(const HelperProtocolObject&) = delete;
    virtual ~HelperProtocolObject() { unregisterAdaptor(); }

  private:
    void getVersionWithCompletion(sdbus::Result<std::string>&& result) override
    {
        answer(std::move(result), [this](auto completion) { helper_.getVersion(completion); });
    }

    void runCommandWithPath_completion(sdbus::Result<std::int32_t>&& result,
                                       std::string option) override
    {
        answer(std::move(result), [&](auto completion) { helper_.runCommand(option, completion); });
    }

    void runCommandWithPath_authData_completion(sdbus::Result<std::int32_t>&& result,
                                                std::string option,
                                                std::vector<std::uint8_t> data) override
    {
        std::optional<HelperProtocol::AuthorizationData> authData;
        if (!data.empty())
            authData = std::move(data);
        answer(std::move(result),
               [&](auto completion) { helper_.runCommand(option, authData, completion); });
    }

    // Nothing but an sdbus::Error may pass through the bus library.
    template <typename T, typename Call>
    void answer(sdbus::Result<T>&& result, const Call& call)
    {
        const auto owed = std::make_shared<OwedReply<T>>(shared_from_this(), std::move(result));
        try {
            const auto connection = connection_.lock();
            if (!connection)
                throw sdbus::Error{connections::unknownObjectError, "this connection has ended"};
            connection->admit(*getObject().getCurrentlyProcessedMessage());
            call([owed](const T& value) { owed->give(value); });
        } catch (const sdbus::Error& error) {
            owed->refuse(error);
        } catch (const std::exception& error) {
            owed->refuse(sdbus::Error{connections::failedError, error.what()});
        }
    }

    std::weak_ptr<const ServiceConnection> connection_;
    HelperProtocol& helper_;
};

std::string withoutNul(const std::string& text)
{
    std::string carried;
    carried.reserve(text.size());
    for (const char c : text)
        if (c == '\0')
            carried += "\xEF\xBF\xBD";
        else
            carried += c;
    return carried;
}

class AppProtocolProxy : public AppProtocol, private sdbus::ProxyInterfaces<AppProtocol_proxy> {
  public:
    explicit AppProtocolProxy(const ServiceConnection::Place& place)
        : ProxyInterfaces{*place.bus, place.name, place.path}
    {
        registerProxy();
    }

    AppProtocolProxy(const AppProtocolProxy&) = delete;
    AppProtocolProxy& operator=(const AppProtocolProxy&) = delete;
    ~AppProtocolProxy() override { unregisterProxy(); }

    void logWithStdOut(const std::string& text) override
    {
        AppProtocol_proxy::logWithStdOut(withoutNul(text));
    }

    void logWithStdErr(const std::string& text) override
    {
        AppProtocol_proxy::logWithStdErr(withoutNul(text));
    }
};

} // namespace

std::shared_ptr<void> exportHelperProtocol(const ServiceConnection& connection,
                                           HelperProtocol& helper)
{
    return std::make_shared<HelperProtocolObject>(connection, helper);
}

std::shared_ptr<AppProtocol> remoteAppProtocol(const ServiceConnection::Place& remoteObject)
{
    return std::make_shared<AppProtocolProxy>(remoteObject);
}

} // namespace veltra
