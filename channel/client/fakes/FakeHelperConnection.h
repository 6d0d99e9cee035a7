#pragma once

#include "channel/client/HelperConnection.h"

#include <string>
#include <utility>
#include <vector>

namespace veltra {

/// A connection whose other end is a test. Calls wait until the test answers them; handlers run on
/// the test's thread.
class FakeHelperConnection : public HelperConnection,
                             public std::enable_shared_from_this<FakeHelperConnection> {
  public:
    struct Call {
        std::string method; ///< "getVersion", or "runCommand" and its option
        HelperProtocol::AuthorizationData authData;
        HelperProtocol::Version version;
        HelperProtocol::ExitStatus exitStatus;
        std::function<void(const HelperFailure&)> onFailure;
    };

    void setExportedObject(std::shared_ptr<AppProtocol> app) override;
    void setInvalidationHandler(std::function<void()> handler) override;
    void resume() override { isResumed_ = true; }
    void invalidate() override { end(); }
    [[nodiscard]] std::shared_ptr<HelperProtocol>
    remoteObjectProxyWithErrorHandler(std::function<void(const HelperFailure&)> onFailure) override;

    /// The calls so far, in order; answered calls stay in the list.
    [[nodiscard]] std::vector<Call>& calls() { return calls_; }
    /// Sets a handler that is called during every call.
    void setCallHandler(std::function<void(FakeHelperConnection&, const Call&)> onCall)
    {
        onCall_ = std::move(onCall);
    }
    void take(Call call);

    /// Releases everything that it was given, without calling any of it.
    void abandon();
    [[nodiscard]] AppProtocol& app() { return *app_; }
    [[nodiscard]] bool isResumed() const { return isResumed_; }
    [[nodiscard]] bool isEnded() const { return isEnded_; }

    /// Ends the connection: the handler is called, and from then on calls fail. Only once.
    void end();

  private:
    std::vector<Call> calls_;
    std::function<void(FakeHelperConnection&, const Call&)> onCall_;
    std::shared_ptr<AppProtocol> app_;
    std::function<void()> onEnd_;
    bool isResumed_ = false;
    bool isEnded_ = false;
};

} // namespace veltra
