#pragma once

#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/CallerAuthentication.h"
#include "platform/bus/ServiceConnection.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace veltra {

class ServiceListener;

/// Decides about a service's new connections.
class ServiceListenerDelegate {
  public:
    ServiceListenerDelegate() = default;
    ServiceListenerDelegate(const ServiceListenerDelegate&) = delete;
    ServiceListenerDelegate& operator=(const ServiceListenerDelegate&) = delete;
    virtual ~ServiceListenerDelegate() = default;

    /// Whether to accept the connection of a process whose identity has been proved. An accepted
    /// connection must have been given its handlers and resumed. Called on the loop's thread.
    virtual bool listener(ServiceListener& listener,
                          const std::shared_ptr<ServiceConnection>& shouldAcceptNewConnection) = 0;
};

/// The endpoint of a service that has a name on the system bus.
///
/// Use it on the thread of its loop only. See docs/protocol.md for what clients send, and
/// docs/security.md for what they prove before the delegate is asked about them.
class ServiceListener {
  public:
    /// Examines a process before the delegate is asked about it, on a separate thread because it
    /// may take long. Several threads may do so at the same time.
    using Examination = std::function<void(const CallerAuthentication::Process&)>;

    using RefusalHandler =
        std::function<void(const CallerChallenge::Caller& caller, const std::string& reason)>;

    ServiceListener(std::shared_ptr<EventLoop> loop, std::string machServiceName);
    ServiceListener(const ServiceListener&) = delete;
    ServiceListener& operator=(const ServiceListener&) = delete;
    ~ServiceListener() = default;

    /// Set all of these before resume(). The delegate must outlive the listener.
    void setDelegate(ServiceListenerDelegate* delegate) noexcept { delegate_ = delegate; }
    void setExamination(Examination examine) { examine_ = std::move(examine); }
    /// Called for every process that has failed to prove itself, with the reason.
    void setRefusalHandler(RefusalHandler handler) { onRefusal_ = std::move(handler); }
    /// Called once when the bus has gone away, after all connections are invalidated.
    void setInvalidationHandler(std::function<void()> handler) { onLoss_ = std::move(handler); }

    /// Acquires the service's name and serves from then on. Fails if there is no bus or it does not
    /// grant the name.
    [[nodiscard]] Result<> resume();

    /// The bus that resume() has connected to.
    [[nodiscard]] const std::shared_ptr<BusConnection>& bus() const noexcept { return bus_; }

    /// Call this and the next only after resume() has succeeded.
    ///
    /// Releases the name and has everything that the bus had sent here until then answered with an
    /// unknown object error, so that the senders ask the service's next instance. Connections end
    /// without their handlers being called; pending replies can still be sent. Fails if the bus
    /// does not do its part.
    [[nodiscard]] Result<> end();

    /// Waits until the bus has read everything that was sent, for a second at most. When a
    /// connection is closed, a bus that still has messages for it may discard what it has not read
    /// from it. Fails if the bus does not answer.
    [[nodiscard]] Result<> flush();

  private:
    struct Client {
        std::optional<BusCall> proof; // the request that is answered when this has ended:
        std::shared_ptr<CallerAuthentication> authentication;
        CallerAuthentication::Process process; // null until then
        std::map<std::string, std::shared_ptr<ServiceConnection>> connections;
    };

    [[nodiscard]] Result<> takePlace();
    [[nodiscard]] Result<> watchClients();
    [[nodiscard]] Result<> exportRoot();
    void called(BusCall call);
    void prove(const std::string& client, BusCall call);
    void authenticationEnded(const std::string& client,
                             const Result<CallerAuthentication::Process>& process);
    void open(const std::string& client, const std::string& remotePath, BusCall call);
    void close(const std::string& client, const std::string& path);
    void forget(const std::string& client);
    void forgetAll();
    void withdrawAll();
    [[nodiscard]] std::string newPath();

    std::shared_ptr<EventLoop> loop_;
    std::string name_;
    ServiceListenerDelegate* delegate_ = nullptr;
    Examination examine_;
    RefusalHandler onRefusal_;
    std::function<void()> onLoss_;

    std::shared_ptr<BusConnection> bus_;
    CallerAuthentication::Setting setting_;
    BusSlot departures_;
    BusSlot root_;
    std::map<std::string, Client> clients_; // by their unique names
    std::uint64_t instance_;                // makes paths of earlier instances invalid in this one
    std::uint64_t lastPath_ = 0;
};

} // namespace veltra
