#pragma once

#include "platform/BusConnection.h"
#include "platform/PollLoop.h"

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
    virtual void called(sdbus::Message& call) = 0;
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
    void post(PollLoop::Handler work) { loop_->post(std::move(work)); }

    /// The bus; null when it cannot be reached now.
    [[nodiscard]] std::shared_ptr<sdbus::IConnection> connection();

    /// Where calls for a client arrive.
    using ClientNumber = std::uint64_t;
    [[nodiscard]] static std::string pathOfClient(ClientNumber number);

    /// Tells `client` what concerns it for as long as it lives and the bus does not go away. To be
    /// asked for only while there is a connection.
    void add(ClientNumber number, const std::shared_ptr<ServiceBusClient>& client);

    /// The root object of a service that clients were added for since the connection was made.
    [[nodiscard]] sdbus::IProxy& root(const std::string& service);

    /// Runs `send` as soon as one more call may wait for its answer. The bus has a limit to that;
    /// nothing is lost when more calls are made at once. callEnded() is due for each.
    void whenThereIsRoom(PollLoop::Handler send);
    void callEnded();

  private:
    struct Service {
        sdbus::Slot ownerChanges;
        std::unique_ptr<sdbus::IProxy> root;
    };
    using Clients = std::vector<std::pair<ClientNumber, std::weak_ptr<ServiceBusClient>>>;

    void connect();
    [[nodiscard]] Service makeService(const std::string& name);
    void lose();
    void sendWaiting();
    static void ownerChanged(const Clients& clients, const std::string& service,
                             const std::string& owner);
    void called(sdbus::Message& call) const;
    void prove(const sdbus::UnixFd& socket, const std::vector<std::uint8_t>& nonce);
    [[nodiscard]] bool isServiceOfRoot(const std::string& uniqueName);

    std::shared_ptr<PollLoop> loop_;
    std::unique_ptr<BusConnection> connection_;
    std::unique_ptr<sdbus::IProxy> busDaemon_;
    std::unique_ptr<sdbus::IObject> peer_;
    sdbus::Slot calls_;
    std::map<std::string, Service> services_; // by name
    Clients clients_;
    std::deque<PollLoop::Handler> waiting_;
    int callsUnderWay_ = 0;
    std::thread thread_;
};

} // namespace veltra
