#pragma once

#include "platform/Error.h"
#include "platform/PollLoop.h"

#include <functional>
#include <memory>

#include <sdbus-c++/sdbus-c++.h>

namespace veltra {

/// A connection to the D-Bus system bus, for a PollLoop to serve. Everything about it belongs on
/// the loop's thread.
///
/// The bus is looked for at its fixed address and nowhere else: an environment variable must not
/// be able to lead a trusted program to a bus of somebody else's.
class BusConnection : public PollSource {
  public:
    /// Connects, which takes a round trip or two. Calls made on the connection have no time-out.
    [[nodiscard]] static Result<std::unique_ptr<BusConnection>> open();

    [[nodiscard]] const std::shared_ptr<sdbus::IConnection>& bus() const noexcept { return bus_; }

    /// The name that the bus gave this connection, ":1.42" say.
    [[nodiscard]] const std::string& uniqueName() const noexcept { return uniqueName_; }

    /// Called once, by dispatch(), when the bus has gone away. The connection must be kept until
    /// the call has returned.
    void setLossHandler(std::function<void()> onLoss) { onLoss_ = std::move(onLoss); }

    [[nodiscard]] Wish wish() override;
    void dispatch() override;

  private:
    explicit BusConnection(std::shared_ptr<sdbus::IConnection> bus);

    std::shared_ptr<sdbus::IConnection> bus_;
    std::string uniqueName_;
    std::function<void()> onLoss_;
    bool isLost_ = false;
};

} // namespace veltra
