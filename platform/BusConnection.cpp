#include "platform/BusConnection.h"

#include "platform/SystemLog.h"

#include <limits>
#include <utility>

#include <poll.h>

namespace veltra {

namespace {

constexpr const char* systemBus = "unix:path=/run/dbus/system_bus_socket";
constexpr auto never = std::numeric_limits<std::uint64_t>::max();

} // namespace

Result<std::unique_ptr<BusConnection>> BusConnection::open()
{
    try {
        // The function for the system bus would let the environment say where that is.
        auto bus = sdbus::createSessionBusConnectionWithAddress(systemBus);
        bus->setMethodCallTimeout(never);
        return std::unique_ptr<BusConnection>{new BusConnection{std::move(bus)}};
    } catch (const sdbus::Error& error) {
        SystemLog::log({"the system bus cannot be reached: ", error.getMessage()});
        return Error{std::make_error_code(std::errc::not_connected), "connect to", systemBus};
    }
}

BusConnection::BusConnection(std::shared_ptr<sdbus::IConnection> bus)
    : bus_{std::move(bus)}, uniqueName_{bus_->getUniqueName()}
{
}

PollSource::Wish BusConnection::wish()
{
    if (isLost_)
        return {};
    const auto data = bus_->getEventLoopPollData();
    Wish wish{.descriptor = data.fd, .events = data.events, .deadline = {}, .hasUnsent = false};
    if (data.timeout_usec != never)
        wish.deadline = std::chrono::steady_clock::time_point{data.getAbsoluteTimeout()};
    wish.hasUnsent = (data.events & POLLOUT) != 0;
    return wish;
}

void BusConnection::dispatch()
{
    try {
        while (!isLost_ && bus_->processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        SystemLog::log({"the system bus has gone away: ", error.getMessage()});
        isLost_ = true;
    }
    if (isLost_ && onLoss_)
        std::exchange(onLoss_, {})();
}

} // namespace veltra
