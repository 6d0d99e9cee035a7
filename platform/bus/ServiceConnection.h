#pragma once

#include "platform/bus/BusConnection.h"
#include "platform/process/PinnedProcess.h"

#include <functional>
#include <memory>
#include <string>

namespace veltra {

/// A connection from a client to a service, on the service's side.
///
/// A connection is a pair of object paths: the service's object, which only this client may call,
/// and the client's, which the service sends to. Use it on the thread of the listener's loop only.
class ServiceConnection : public std::enable_shared_from_this<ServiceConnection> {
  public:
    /// Where an object is, or is to be registered.
    struct Place {
        std::shared_ptr<BusConnection> bus;
        std::string name; ///< the unique name of the program that owns it
        std::string path;
    };
    /// Registers the service's object at its path. The connection removes the object when it ends.
    using Export = std::function<Result<BusSlot>(const ServiceConnection&)>;

    ServiceConnection(std::shared_ptr<const PinnedProcess> process, Place exported, Place remote);
    ServiceConnection(const ServiceConnection&) = delete;
    ServiceConnection& operator=(const ServiceConnection&) = delete;
    ~ServiceConnection() = default;

    [[nodiscard]] pid_t processIdentifier() const noexcept { return process_->pid(); }
    [[nodiscard]] const std::shared_ptr<const PinnedProcess>& process() const noexcept
    {
        return process_;
    }

    [[nodiscard]] const Place& exportedObject() const noexcept { return exported_; }
    [[nodiscard]] const Place& remoteObject() const noexcept { return remote_; }

    /// Set both before resume().
    void setExportedObject(Export makeObject) { makeObject_ = std::move(makeObject); }
    void setInvalidationHandler(std::function<void()> handler) { onEnd_ = std::move(handler); }

    /// Lets the client call the exported object.
    [[nodiscard]] Result<> resume();

    /// Fails with the reason why `call` must not be served, unless it was sent by this client and
    /// the client's process has not changed since it was accepted. Check it first in every call of
    /// the exported object.
    [[nodiscard]] Result<> check(const BusMessage& call) const;

    /// Removes the exported object.
    void withdraw();

    /// Removes the exported object and calls the invalidation handler, once.
    void invalidate();

  private:
    std::shared_ptr<const PinnedProcess> process_;
    Place exported_;
    Place remote_;
    Export makeObject_;
    std::function<void()> onEnd_;
    BusSlot object_;
};

} // namespace veltra
