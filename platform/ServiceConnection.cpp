#include "platform/ServiceConnection.h"

#include "platform/ConnectionNames.h"

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

void ServiceConnection::admit(const sdbus::Message& call) const
{
    if (!object_)
        throw sdbus::Error{connections::unknownObjectError, "this connection has ended"};
    // Paths can be guessed.
    if (call.getSender() != remote_.name)
        throw sdbus::Error{connections::refusedError, "this connection is somebody else's"};
    if (const auto change = process_->change())
        throw sdbus::Error{connections::refusedError, *change};
}

void ServiceConnection::withdraw()
{
    makeObject_ = {};
    object_.reset();
}

void ServiceConnection::invalidate()
{
    withdraw();
    if (const auto onEnd = std::exchange(onEnd_, {}))
        onEnd();
}

} // namespace veltra
