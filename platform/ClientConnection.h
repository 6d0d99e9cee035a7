#pragma once

#include "platform/ServiceBus.h"

#include <functional>
#include <memory>
#include <string>

#include <sdbus-c++/sdbus-c++.h>

namespace veltra {

/// A call of a service's method that is waiting for its answer.
class ServiceCall {
  public:
    ServiceCall() = default;
    ServiceCall(const ServiceCall&) = delete;
    ServiceCall& operator=(const ServiceCall&) = delete;
    virtual ~ServiceCall() = default;

    /// Tells of the answer: null when it is the method's, else the error that came instead.
    using Ended = std::function<void(const sdbus::Error*)>;

    /// Sends the call to an object of `service`; again, when the instance of the service that it
    /// was sent to before ended without having seen it. `ended` is called once for each sending,
    /// before anybody else hears of the answer. May throw an sdbus::Error, and has not sent then.
    virtual void send(sdbus::IConnection& bus, const std::string& service, const std::string& path,
                      Ended ended) = 0;

    /// There will be no answer.
    virtual void fail() = 0;
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
    /// bus's thread. May throw an sdbus::Error when the call is not what it should be.
    using Receiver = std::function<void(sdbus::Message& call)>;

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

    void send(std::shared_ptr<ServiceCall> call);

  private:
    explicit ClientConnection(std::shared_ptr<Link> link) : link_{std::move(link)} {}

    std::shared_ptr<Link> link_;
};

} // namespace veltra
