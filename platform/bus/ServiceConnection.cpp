#include "platform/bus/ServiceConnection.h"

#include "platform/bus/Refusal.h"

#include <utility>

namespace veltra {

ServiceConnection::ServiceConnection(std::shared_ptr<const PinnedProcess> process, Place exported,
                                     Place remote)
    : process_{std::move(process)}, exported_{std::move(exported)}, remote_{std::move(remote)}
{
}

Result<> ServiceConnection::resume()
{
    if (!makeObject_)
        return success;
    auto object = std::exchange(makeObject_, {})(*this);
    if (!object)
        return object.error();
    object_ = std::move(object.value());
    return success;
}

Result<> ServiceConnection::check(const BusMessage& call) const
{
    // Paths can be guessed, so the sender must be checked.
    if (call.sender() != remote_.name)
        return refusal(Refusal::callsAnothers);
    return process_->checkUnchanged();
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
