#pragma once

#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/CallerSettlement.h"
#include "platform/bus/ServiceConnection.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace veltra {

class ServiceListener;

/// Who decides about a service's new connections.
class ServiceListenerDelegate {
  public:
    ServiceListenerDelegate() = default;
    ServiceListenerDelegate(const ServiceListenerDelegate&) = delete;
    ServiceListenerDelegate& operator=(const ServiceListenerDelegate&) = delete;
    virtual ~ServiceListenerDelegate() = default;

    /// Whether to accept the connection of a process that has proved who it is. One that is
    /// accepted has been given its handlers and resumed. Called on the loop's thread.
    virtual bool listener(ServiceListener& listener,
                          const std::shared_ptr<ServiceConnection>& shouldAcceptNewConnection) = 0;
};

/// The endpoint of a service that has a name on the system bus.
///
/// Everything about it belongs on the thread of its loop. See docs/protocol.md for what clients
/// send, and docs/security.md for what they prove before the delegate hears of them.
class ServiceListener {
  public:
    /// Looks at a process before the delegate is asked about it, on a thread of its own: for what
    /// takes long. Another thread may do so at the same time.
    using Examination = std::function<void(const CallerSettlement::Process&)>;

    ServiceListener(std::shared_ptr<EventLoop> loop, std::string machServiceName);
    ServiceListener(const ServiceListener&) = delete;
    ServiceListener& operator=(const ServiceListener&) = delete;
    ~ServiceListener();

    /// All are set before resume(). The delegate must outlive the listener.
    void setDelegate(ServiceListenerDelegate* delegate) noexcept { delegate_ = delegate; }
    void setExamination(Examination examine) { examine_ = std::move(examine); }
    /// Whether to use the processes that the bus hands out, where it does; so unless said
    /// otherwise.
    void setTakesPidfds(bool takes) noexcept { takesPidfds_ = takes; }
    /// Called once when the bus has gone away, after all connections are invalidated.
    void setInvalidationHandler(std::function<void()> handler) { onLoss_ = std::move(handler); }

    /// Takes the service's name and serves from then on. Fails when there is no bus, or it does
    /// not grant the name.
    [[nodiscard]] Result<> resume();

    /// The bus that resume() has connected to.
    [[nodiscard]] const std::shared_ptr<BusConnection>& bus() const noexcept { return bus_; }

    /// Gives the name back, and has everything that the bus had sent here until then answered by
    /// its not being known here: the senders ask the service's next instance. Connections end
    /// without their handlers being called; replies that are still owed can still be sent.
    void end();

    /// Waits until the bus has read all that was sent, a second at most. A bus that has more to
    /// say to a connection may throw away what it has not read of it by the time it is closed.
    void flush();

  private:
    /// A client that waits for a connection to be opened.
    struct Waiting {
        BusCall call;
        std::string remotePath;
    };
    struct Client {
        std::shared_ptr<CallerSettlement> settlement; // until it is settled
        std::vector<Waiting> waiting;
        CallerSettlement::Process process;
        std::map<std::string, std::shared_ptr<ServiceConnection>> connections;
    };

    [[nodiscard]] Result<> takePlace();
    [[nodiscard]] Result<> watchClients();
    [[nodiscard]] Result<> exportRoot();
    void called(BusCall call);
    void open(const std::string& client, Waiting waiting);
    void settled(const std::string& client, const CallerSettlement::Process& process,
                 const std::string& refusal);
    void accept(const std::string& client, Waiting waiting);
    void close(const std::string& client, const std::string& path);
    void forget(const std::string& client);
    void forgetAll();
    void withdrawAll();
    [[nodiscard]] std::string newPath();

    std::shared_ptr<EventLoop> loop_;
    std::string name_;
    ServiceListenerDelegate* delegate_ = nullptr;
    Examination examine_;
    bool takesPidfds_ = true;
    std::function<void()> onLoss_;

    std::shared_ptr<BusConnection> bus_;
    CallerSettlement::Setting setting_;
    BusSlot departures_;
    BusSlot root_;
    std::map<std::string, Client> clients_; // by their unique names
    std::uint64_t instance_;                // an earlier instance's paths must not be this one's
    std::uint64_t lastPath_ = 0;
};

} // namespace veltra
