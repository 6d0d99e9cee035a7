#include "channel/protocol/ClientSide.h"

#include "channel/protocol/AppProtocol-proxy.h"
#include "channel/protocol/HelperProtocol-proxy.h"

#include <utility>

namespace veltra {

namespace {

using com::veltra::agentMonitor::AppProtocol_proxy;
using com::veltra::agentMonitor::HelperProtocol_proxy;

/// One sending of a call, and who hears of the answer.
class HelperCallProxy : public sdbus::ProxyInterfaces<HelperProtocol_proxy> {
  public:
    HelperCallProxy(sdbus::IConnection& bus, const std::string& service, const std::string& path,
                    ServiceCall::Ended ended, HelperProtocol::Version version,
                    HelperProtocol::ExitStatus exitStatus)
        : ProxyInterfaces{bus, service, path}, ended_{std::move(ended)},
          version_{std::move(version)}, exitStatus_{std::move(exitStatus)}
    {
        registerProxy();
    }

    HelperCallProxy(const HelperCallProxy&) = delete;
    HelperCallProxy& operator=(const HelperCallProxy&) = delete;
    virtual ~HelperCallProxy() { unregisterProxy(); }

  private:
    void onGetVersionWithCompletionReply(const std::string& version,
                                         const sdbus::Error* error) override
    {
        answer(error, version_, version);
    }

    void onRunCommandWithPath_completionReply(const std::int32_t& exitStatus,
                                              const sdbus::Error* error) override
    {
        answer(error, exitStatus_, exitStatus);
    }

    void onRunCommandWithPath_authData_completionReply(const std::int32_t& exitStatus,
                                                       const sdbus::Error* error) override
    {
        answer(error, exitStatus_, exitStatus);
    }

    template <typename Completion, typename Value>
    void answer(const sdbus::Error* error, const Completion& completion, const Value& value)
    {
        // It keeps the call, which keeps this: until the end of this function.
        const auto ended = std::exchange(ended_, {});
        ended(error);
        if (!error)
            completion(value);
    }

    ServiceCall::Ended ended_;
    HelperProtocol::Version version_;
    HelperProtocol::ExitStatus exitStatus_;
};

class HelperCall : public ServiceCall {
  public:
    using Method = std::function<void(HelperCallProxy&)>;

    HelperCall(Method method, HelperProtocol::Version version,
               HelperProtocol::ExitStatus exitStatus, std::function<void()> onFailure)
        : method_{std::move(method)}, version_{std::move(version)},
          exitStatus_{std::move(exitStatus)}, onFailure_{std::move(onFailure)}
    {
    }

    void send(sdbus::IConnection& bus, const std::string& service, const std::string& path,
              Ended ended) override
    {
        proxy_ = std::make_unique<HelperCallProxy>(bus, service, path, std::move(ended), version_,
                                                   exitStatus_);
        method_(*proxy_);
    }

    void fail() override
    {
        if (onFailure_)
            onFailure_();
    }

  private:
    Method method_;
    HelperProtocol::Version version_;
    HelperProtocol::ExitStatus exitStatus_;
    std::function<void()> onFailure_;
    std::unique_ptr<HelperCallProxy> proxy_;
};

class RemoteHelper : public HelperProtocol {
  public:
    RemoteHelper(std::shared_ptr<ClientConnection> connection, std::function<void()> onFailure)
        : connection_{std::move(connection)}, onFailure_{std::move(onFailure)}
    {
    }

    void getVersion(Version completion) override
    {
        send([](HelperCallProxy& proxy) { proxy.getVersionWithCompletion(); },
             std::move(completion), {});
    }

    void runCommand(const std::string& withPath, ExitStatus completion) override
    {
        send([withPath](HelperCallProxy& proxy) { proxy.runCommandWithPath_completion(withPath); },
             {}, std::move(completion));
    }

    void runCommand(const std::string& withPath, const std::optional<AuthorizationData>& authData,
                    ExitStatus completion) override
    {
        send(
            [withPath, data = authData.value_or(AuthorizationData{})](HelperCallProxy& proxy) {
                proxy.runCommandWithPath_authData_completion(withPath, data);
            },
            {}, std::move(completion));
    }

  private:
    void send(HelperCall::Method method, Version version, ExitStatus exitStatus)
    {
        connection_->send(std::make_shared<HelperCall>(std::move(method), std::move(version),
                                                       std::move(exitStatus), onFailure_));
    }

    std::shared_ptr<ClientConnection> connection_;
    std::function<void()> onFailure_;
};

} // namespace

ClientConnection::Receiver exportAppProtocol(std::shared_ptr<AppProtocol> app)
{
    return [app = std::move(app)](sdbus::Message& call) {
        if (call.getInterfaceName() != AppProtocol_proxy::INTERFACE_NAME)
            return;
        const std::string member = call.getMemberName();
        std::string text;
        call >> text;
        if (member == "logWithStdOut")
            app->logWithStdOut(text);
        else if (member == "logWithStdErr")
            app->logWithStdErr(text);
    };
}

std::shared_ptr<HelperProtocol>
remoteObjectProxyWithErrorHandler(std::shared_ptr<ClientConnection> connection,
                                  std::function<void()> onFailure)
{
    return std::make_shared<RemoteHelper>(std::move(connection), std::move(onFailure));
}

} // namespace veltra
