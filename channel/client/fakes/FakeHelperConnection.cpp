#include "channel/client/fakes/FakeHelperConnection.h"

#include <utility>

namespace veltra {

namespace {

class FakeHelper : public HelperProtocol {
  public:
    FakeHelper(std::shared_ptr<FakeHelperConnection> connection,
               std::function<void(const HelperFailure&)> onFailure)
        : connection_{std::move(connection)}, onFailure_{std::move(onFailure)}
    {
    }

    void getVersion(Version completion) override
    {
        connection_->take({"getVersion", {}, std::move(completion), {}, onFailure_});
    }

    void runCommand(const std::string& withPath, ExitStatus completion) override
    {
        runCommand(withPath, std::nullopt, std::move(completion));
    }

    void runCommand(const std::string& withPath, const std::optional<AuthorizationData>& authData,
                    ExitStatus completion) override
    {
        connection_->take({"runCommand " + withPath,
                           authData.value_or(AuthorizationData{}),
                           {},
                           std::move(completion),
                           onFailure_});
    }

  private:
    std::shared_ptr<FakeHelperConnection> connection_;
    std::function<void(const HelperFailure&)> onFailure_;
};

} // namespace

void FakeHelperConnection::setExportedObject(std::shared_ptr<AppProtocol> app)
{
    app_ = std::move(app);
}

void FakeHelperConnection::setInvalidationHandler(std::function<void()> handler)
{
    onEnd_ = std::move(handler);
}

std::shared_ptr<HelperProtocol> FakeHelperConnection::remoteObjectProxyWithErrorHandler(
    std::function<void(const HelperFailure&)> onFailure)
{
    return std::make_shared<FakeHelper>(shared_from_this(), std::move(onFailure));
}

void FakeHelperConnection::take(Call call)
{
    calls_.push_back(std::move(call));
    if (onCall_)
        onCall_(*this, Call{calls_.back()});
}

void FakeHelperConnection::abandon()
{
    const auto calls = std::exchange(calls_, {});
    const auto onEnd = std::exchange(onEnd_, {});
}

void FakeHelperConnection::end()
{
    if (std::exchange(isEnded_, true))
        return;
    // Kept unless it is taken back.
    if (const auto onEnd = onEnd_)
        onEnd();
    for (const Call& call : calls_)
        if (call.onFailure)
            call.onFailure({HelperFailure::Kind::notReachable, "the connection has ended"});
}

} // namespace veltra
