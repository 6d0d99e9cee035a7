#include "platform/bus/ServiceConnection.h"

#include "platform/bus/ConnectionNames.h"

#include <utility>

namespace veltra {

ServiceConnection::ServiceConnection(std::shared_ptr<const PinnedProcess> process, Place exported,
                                     Place remote)
    : process_{std::move(process)}, exported_{std::move(exported)}, remote_{std::move(remote)}
{
}

void ServiceConnection::resume()
{
    if (makeObject_)
        object_ = std::exchange(makeObject_, {})(*this);
}

std::optional<BusError> ServiceConnection::objection(const BusMessage& call) const
{
    // Paths can be guessed, so the sender must be checked.
    if (call.sender() != remote_.name)
        return BusError{connections::refusedError, "this connection is somebody else's"};
    if (const auto unchanged = process_->checkUnchanged(); !unchanged)
        return BusError{connections::refusedError, unchanged.error().message()};
    return std::nullopt;
}

void ServiceConnection::withdraw()
{
    makeObject_ = {};
    object_ = {};
}

void ServiceConnection::invalidate()
{
    withdraw();
    if (const auto onEnd = std::exchange(onEnd_, {}))
        onEnd();
}

} // namespace veltra
