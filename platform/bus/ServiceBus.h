#pragma once

#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/CallerProof.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace veltra {

/// Receives what the bus reports about a connection to a service, on the bus's thread.
class ServiceBusClient {
  public:
    ServiceBusClient() = default;
    ServiceBusClient(const ServiceBusClient&) = delete;
    ServiceBusClient& operator=(const ServiceBusClient&) = delete;
    virtual ~ServiceBusClient() = default;

    /// The name of the service that it is a client of.
    [[nodiscard]] virtual std::string_view service() const = 0;

    /// The service's name has a new owner (its unique name) or none (an empty text), for example
    /// when the bus goes away.
    virtual void ownerChanged(const std::string& owner) = 0;

    /// Somebody called a method on the client's path; this may be anybody whom the bus permits.
    virtual void called(BusMessage& call) = 0;
};

/// A program's single connection to the system bus and the thread that serves it, for any number of
/// connections to services.
///
/// If the bus goes away, the program connects again when it needs the bus.
class ServiceBus {
  public:
    /// The program's instance. Created on first use, destroyed at exit.
    [[nodiscard]] static ServiceBus& shared();

    ServiceBus();
    ServiceBus(const ServiceBus&) = delete;
    ServiceBus& operator=(const ServiceBus&) = delete;
    ~ServiceBus();

    /// Runs `work` on the thread, soon. May be called from any thread; all other functions only on
    /// the bus's thread.
    void post(EventLoop::Handler work) { loop_->post(std::move(work)); }

    /// Calls `work` once, after `delay` or later, for as long as the registration lives.
    EventLoop::Registration callAfter(std::chrono::milliseconds delay, EventLoop::Handler work)
    {
        return loop_->callAfter(delay, std::move(work));
    }

    /// The bus, which is connected to if it is not yet. Fails if it cannot be reached now. Never
    /// null; valid until the bus goes away.
    [[nodiscard]] Result<BusConnection*> connection();

    /// The proof to the service of a client that was added. Call it only while there is a
    /// connection; valid until the bus goes away.
    [[nodiscard]] CallerProof& proofTo(std::string_view service);

    /// Identifies the client that a call is for.
    using ClientNumber = std::uint64_t;
    [[nodiscard]] static std::string pathOfClient(ClientNumber number);

    /// Reports to `client` what concerns it, for as long as it lives and the bus does not go away.
    /// Call it only while there is a connection.
    [[nodiscard]] Result<> add(ClientNumber number,
                               const std::shared_ptr<ServiceBusClient>& client);

    /// Counts as one pending call for as long as a copy of it exists.
    using CallUnderWay = std::shared_ptr<void>;

    /// Runs `send` as soon as one more call may be pending. The bus limits that number; further
    /// calls are queued, not lost.
    void whenThereIsRoom(std::function<void(CallUnderWay)> send);

  private:
    using Clients = std::vector<std::pair<ClientNumber, std::weak_ptr<ServiceBusClient>>>;
    struct Service {
        BusSlot owners;
        std::unique_ptr<CallerProof> proof;
    };

    [[nodiscard]] Result<> connect();
    [[nodiscard]] Result<> watchOwnerOf(const std::string& service);
    void connectionLost();
    void sendWaiting();
    static void ownerChanged(const Clients& clients, const std::string& service,
                             const std::string& owner);
    void called(BusMessage& call) const;

    std::shared_ptr<EventLoop> loop_;
    std::unique_ptr<BusConnection> connection_;
    BusSlot calls_;
    std::map<std::string, Service, std::less<>> services_; // by their names
    Clients clients_;
    std::deque<std::function<void(CallUnderWay)>> waiting_;
    int callsUnderWay_ = 0;
    std::thread thread_;
};

} // namespace veltra
