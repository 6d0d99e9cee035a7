#pragma once

#include "platform/bus/ServiceBus.h"

#include <functional>
#include <memory>
#include <string>

namespace veltra {

/// A call of a service's method. It is sent again if the service's instance that it was sent to
/// ended without having seen it.
struct ServiceCall {
    const char* interface;
    const char* method;
    std::function<void(BusMessage&)> appendArguments; ///< empty if there are none
    std::function<void(BusMessage&)> takeResults;
    /// Called when there will be no results, with the service's or the bus's reason.
    std::function<void(const BusError&)> fail;
};

/// A client's connection to a service on the system bus.
///
/// The first call opens it. It is invalidated once: by invalidate(), when the service refuses it,
/// when the service's instance ends, or when the bus goes away. All functions may be called from
/// any thread and never wait; handlers, the receiver and results are called on the bus's thread. A
/// connection that is released ends when the last pending reply has come, without a call of its
/// handler.
class ClientConnection {
  public:
    class Link;

    /// Receives a call that the service's current instance made on the client's object. Called on
    /// the bus's thread.
    using Receiver = std::function<void(BusMessage& call)>;

    /// `name` must stay valid, like a constant. `bus` must outlive the thread on which the
    /// connection's calls run, as the shared bus does.
    [[nodiscard]] static ClientConnection
    initWithMachServiceName(const char* name, ServiceBus& bus = ServiceBus::shared());

    ClientConnection(ClientConnection&&) = default;
    ClientConnection& operator=(ClientConnection&&) = delete;
    ~ClientConnection();

    /// Call it before resume().
    void setExportedObject(Receiver takeCall);

    /// May be empty. Does not wait for a handler that is running.
    void setInvalidationHandler(std::function<void()> handler);

    /// Calls are sent from now on; earlier ones have been queued.
    void resume();

    void invalidate();

    void send(ServiceCall call);

  private:
    explicit ClientConnection(std::shared_ptr<Link> link) : link_{std::move(link)} {}

    std::shared_ptr<Link> link_;
};

} // namespace veltra
