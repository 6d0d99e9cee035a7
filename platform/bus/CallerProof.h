#pragma once

#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// Proves to a service which process this program is, once to each instance of the service. The
/// service's side is CallerAuthentication. Use it on the thread of the loop, which must serve the
/// bus; both must outlive it.
class CallerProof {
  public:
    /// Receives the reason why the proof is not accepted; empty if it is.
    using Handler = std::function<void(const std::optional<BusError>& refusal)>;

    CallerProof(EventLoop& loop, BusConnection& bus, std::string service);
    CallerProof(const CallerProof&) = delete;
    CallerProof& operator=(const CallerProof&) = delete;
    ~CallerProof() = default;

    /// Calls `onEnd` once the service has accepted the proof; at once if it did before.
    void give(Handler onEnd);

    /// The service's instance that runs now does not know this program. If it does after all, it
    /// accepts the next proof at once.
    void forget() noexcept { isKnown_ = false; }

  private:
    [[nodiscard]] Result<> ask();
    void takeAnswer(const BusMessage& answer);
    void end(const std::optional<BusError>& refusal);

    EventLoop& loop_;
    BusConnection& bus_;
    std::string service_;
    bool isKnown_ = false;
    std::vector<Handler> waiting_;
    Fd socket_;
    EventLoop::Registration challenge_;
    BusSlot question_;
};

} // namespace veltra
