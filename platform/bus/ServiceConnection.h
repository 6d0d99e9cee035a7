#pragma once

#include "platform/bus/BusConnection.h"
#include "platform/process/PinnedProcess.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace veltra {

/// One of the connections that clients have to a service, as the service sees it.
///
/// A connection is a pair of object paths: the service's object, which only this client may call,
/// and the client's, which the service sends to. Everything about it belongs on the thread of the
/// listener's loop.
class ServiceConnection : public std::enable_shared_from_this<ServiceConnection> {
  public:
    /// Where an object is reached, or is to be put.
    struct Place {
        std::shared_ptr<BusConnection> bus;
        std::string name; ///< the unique name of the program that has it
        std::string path;
    };
    /// Puts the service's object at its place. The connection lets go of it when it ends.
    using Export = std::function<BusSlot(const ServiceConnection&)>;

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

    /// Both are set before resume().
    void setExportedObject(Export makeObject) { makeObject_ = std::move(makeObject); }
    void setInvalidationHandler(std::function<void()> handler) { onEnd_ = std::move(handler); }

    /// Lets the client call the exported object.
    void resume();

    /// Why `call` is not to be served; none when it was sent by this client, whose process still is
    /// what it was when it was let in. To be asked first in every call of the exported object.
    [[nodiscard]] std::optional<BusError> objection(const BusMessage& call) const;

    /// Takes the exported object away.
    void withdraw();

    /// Takes the exported object away and calls the invalidation handler, once.
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
