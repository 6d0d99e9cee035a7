#include "channel/protocol/ClientSide.h"

#include "channel/protocol/ProtocolNames.h"
#include "platform/bus/ConnectionNames.h"

#include <utility>

namespace veltra {

namespace {

// Only an error that the helper itself replied with means that it was reached.
HelperFailure failureOf(const BusError& error)
{
    const bool isReached = error.name == connections::failedError;
    return {isReached ? HelperFailure::Kind::notRun : HelperFailure::Kind::notReachable,
            error.message};
}

class RemoteHelper : public HelperProtocol {
  public:
    RemoteHelper(std::shared_ptr<ClientConnection> connection,
                 std::function<void(const HelperFailure&)> onFailure)
        : connection_{std::move(connection)}, onFailure_{std::move(onFailure)}
    {
    }

    void getVersion(Version completion) override
    {
        send<std::string>(protocol::getVersion, {}, std::move(completion));
    }

    void runCommand(const std::string& withPath, ExitStatus completion) override
    {
        send<std::int32_t>(
            protocol::runCommand, [withPath](BusMessage& call) { call.append(withPath); },
            std::move(completion));
    }

    void runCommand(const std::string& withPath, const std::optional<AuthorizationData>& authData,
                    ExitStatus completion) override
    {
        const auto append = [withPath, data = authData.value_or(AuthorizationData{})](
                                BusMessage& call) { call.append(withPath, data); };
        send<std::int32_t>(protocol::runCommandWithData, append, std::move(completion));
    }

  private:
    template <typename Value, typename Completion>
    void send(const char* method, std::function<void(BusMessage&)> append, Completion completion)
    {
        const auto fail = [onFailure = onFailure_](const BusError& error) {
            if (onFailure)
                onFailure(failureOf(error));
        };
        const auto take = [completion = std::move(completion), fail](BusMessage& results) {
            Value value{};
            if (results.read(value))
                completion(value);
            else
                fail({connections::failedError, "its answer cannot be read"});
        };
        connection_->send({protocol::helperInterface, method, std::move(append), take, fail});
    }

    std::shared_ptr<ClientConnection> connection_;
    std::function<void(const HelperFailure&)> onFailure_;
};

} // namespace

ClientConnection::Receiver exportAppProtocol(std::shared_ptr<AppProtocol> app)
{
    return [app = std::move(app)](BusMessage& call) {
        std::string text;
        if (call.interface() != protocol::appInterface || !call.read(text))
            return;
        if (call.member() == protocol::logWithStdOut)
            app->logWithStdOut(text);
        else if (call.member() == protocol::logWithStdErr)
            app->logWithStdErr(text);
    };
}

std::shared_ptr<HelperProtocol>
remoteObjectProxyWithErrorHandler(std::shared_ptr<ClientConnection> connection,
                                  std::function<void(const HelperFailure&)> onFailure)
{
    return std::make_shared<RemoteHelper>(std::move(connection), std::move(onFailure));
}

} // namespace veltra
