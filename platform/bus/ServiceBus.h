#pragma once

#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"

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

/// What a connection to a service is told by the bus, on the bus's thread.
class ServiceBusClient {
  public:
    ServiceBusClient() = default;
    ServiceBusClient(const ServiceBusClient&) = delete;
    ServiceBusClient& operator=(const ServiceBusClient&) = delete;
    virtual ~ServiceBusClient() = default;

    /// The name of the service that it is a client of.
    [[nodiscard]] virtual std::string_view service() const = 0;

    /// The service got another owner, or none, as when the bus goes away: the owner's unique name,
    /// or an empty one.
    virtual void ownerChanged(const std::string& owner) = 0;

    /// Somebody called a method at the client's path, which may be anybody whom the bus lets.
    virtual void called(BusMessage& call) = 0;
};

/// A program's one connection to the system bus and the thread that serves it, for any number of
/// connections to services.
///
/// A bus that goes away is connected to again when it is needed. Services of root that the program
/// talks to are told through the bus, when they ask, which process it is.
class ServiceBus {
  public:
    /// The program's. Made at first use, ended at exit.
    [[nodiscard]] static ServiceBus& shared();

    ServiceBus();
    ServiceBus(const ServiceBus&) = delete;
    ServiceBus& operator=(const ServiceBus&) = delete;
    ~ServiceBus();

    /// Runs `work` on the thread, soon. From any thread; all else is for that thread.
    void post(EventLoop::Handler work) { loop_->post(std::move(work)); }

    /// The bus; null when it cannot be reached now.
    [[nodiscard]] BusConnection* connection();

    /// Where calls for a client arrive.
    using ClientNumber = std::uint64_t;
    [[nodiscard]] static std::string pathOfClient(ClientNumber number);

    /// Tells `client` what concerns it for as long as it lives and the bus does not go away. To be
    /// asked for only while there is a connection.
    [[nodiscard]] Result<> add(ClientNumber number,
                               const std::shared_ptr<ServiceBusClient>& client);

    /// Counts as a call that waits for its answer, for as long as anybody has it.
    using CallUnderWay = std::shared_ptr<void>;

    /// Runs `send` as soon as one more call may wait for its answer. The bus has a limit to that;
    /// nothing is lost when more calls are made at once.
    void whenThereIsRoom(std::function<void(CallUnderWay)> send);

  private:
    using Clients = std::vector<std::pair<ClientNumber, std::weak_ptr<ServiceBusClient>>>;

    [[nodiscard]] Result<> connect();
    [[nodiscard]] Result<> exportObjects(BusConnection& bus);
    [[nodiscard]] Result<> watchOwnerOf(const std::string& service);
    void lose();
    void sendWaiting();
    static void ownerChanged(const Clients& clients, const std::string& service,
                             const std::string& owner);
    void called(BusMessage& call) const;
    void prove(BusMessage& request);
    [[nodiscard]] bool isServiceOfRoot(const std::string& uniqueName);

    std::shared_ptr<EventLoop> loop_;
    std::unique_ptr<BusConnection> connection_;
    BusSlot peer_;
    BusSlot calls_;
    std::map<std::string, BusSlot> services_; // those whose owner is watched, by name
    Clients clients_;
    std::deque<std::function<void(CallUnderWay)>> waiting_;
    int callsUnderWay_ = 0;
    std::thread thread_;
};

} // namespace veltra
