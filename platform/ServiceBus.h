#pragma once

#include "platform/BusConnection.h"
#include "platform/PollLoop.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace veltra {

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

    /// Gets the unique name of the program that owns a service's name; empty when none does.
    using OwnerHandler = std::function<void(const std::string& owner)>;

    /// Calls `handler` when `service` gets another owner, or none, as when the bus goes away; until
    /// the result is let go of. To be asked for only while there is a connection.
    [[nodiscard]] std::shared_ptr<const OwnerHandler> watchOwner(const std::string& service,
                                                                 OwnerHandler handler);

    /// Runs `send` as soon as one more call may wait for its answer. The bus has a limit to that;
    /// nothing is lost when more calls are made at once. callEnded() is due for each.
    void whenThereIsRoom(PollLoop::Handler send);
    void callEnded();

  private:
    struct Service {
        sdbus::Slot ownerChanges;
        std::vector<std::weak_ptr<const OwnerHandler>> handlers;
    };

    void connect();
    void lose();
    void sendWaiting();
    void ownerChanged(const std::string& service, const std::string& owner);
    void prove(const sdbus::UnixFd& socket, const std::vector<std::uint8_t>& nonce);
    [[nodiscard]] bool isServiceOfRoot(const std::string& uniqueName);

    std::shared_ptr<PollLoop> loop_;
    std::unique_ptr<BusConnection> connection_;
    std::unique_ptr<sdbus::IProxy> busDaemon_;
    std::unique_ptr<sdbus::IObject> peer_;
    std::map<std::string, Service> services_;
    std::deque<PollLoop::Handler> waiting_;
    int callsUnderWay_ = 0;
    std::thread thread_;
};

} // namespace veltra
