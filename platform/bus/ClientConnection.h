#pragma once

#include "platform/bus/ServiceBus.h"

#include <functional>
#include <memory>
#include <string>

namespace veltra {

/// A call of a service's method. It is sent again when the instance of the service that it was sent
/// to ended without having seen it.
struct ServiceCall {
    const char* interface;
    const char* method;
    std::function<void(BusMessage&)> appendArguments; ///< empty when there are none
    std::function<void(BusMessage&)> takeResults;
    std::function<void()> fail; ///< there will be no results
};

/// A connection to a service on the system bus, as its client has it.
///
/// It is opened by the first call, and invalidated once: by invalidate(), when the service refuses
/// it, when the service's instance ends or when the bus goes away. Functions may be called from
/// any thread and never wait; handlers, the receiver and answers are called on the bus's
/// thread. A connection that is let go of ends, when the last answer that it owes has come,
/// without its handler being called.
class ClientConnection {
  public:
    class Link;

    /// Takes a call that the service's present instance made at the client's object. Called on the
    /// bus's thread.
    using Receiver = std::function<void(BusMessage& call)>;

    /// `name` must stay, as a constant does, and `bus` must outlive the connection's thread of
    /// calls, as the shared one does.
    [[nodiscard]] static ClientConnection
    initWithMachServiceName(const char* name, ServiceBus& bus = ServiceBus::shared());

    ClientConnection(ClientConnection&&) = default;
    ClientConnection& operator=(ClientConnection&&) = delete;
    ~ClientConnection();

    /// Before resume().
    void setExportedObject(Receiver takeCall);

    /// Empty for none. A handler that is being called is not waited for.
    void setInvalidationHandler(std::function<void()> handler);

    /// Calls are sent from now on; earlier ones have waited.
    void resume();

    void invalidate();

    void send(ServiceCall call);

  private:
    explicit ClientConnection(std::shared_ptr<Link> link) : link_{std::move(link)} {}

    std::shared_ptr<Link> link_;
};

} // namespace veltra
