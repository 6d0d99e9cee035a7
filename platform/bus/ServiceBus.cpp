#include "platform/bus/ServiceBus.h"

#include "platform/bus/ConnectionNames.h"
#include "platform/log/SystemLog.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace veltra {

using namespace connections;

namespace {

// The bus of Debian 12 allows a connection 128 pending replies.
constexpr int mostCallsUnderWay = 64;

// The client's number follows, after a slash.
constexpr const char* clientsPath = "/com/veltra/agentMonitor/client";

std::shared_ptr<EventLoop> makeLoop()
{
    auto loop = EventLoop::open(&SystemLog::logThrown);
    if (!loop)
        throw std::runtime_error{loop.error().message()};
    return std::move(loop.value());
}

void serve(EventLoop& loop)
{
    if (const auto served = loop.run(); !served)
        SystemLog::log(served.error().message());
}

} // namespace

ServiceBus& ServiceBus::shared()
{
    static ServiceBus bus;
    return bus;
}

ServiceBus::ServiceBus() : loop_{makeLoop()}, thread_{[this] { serve(*loop_); }} {}

ServiceBus::~ServiceBus()
{
    loop_->stop();
    thread_.join();
    // The pending calls report the loss themselves.
    connection_.reset();
}

Result<BusConnection*> ServiceBus::connection()
{
    if (!connection_)
        if (const auto connected = connect(); !connected)
            return connected.error();
    return connection_.get();
}

Result<> ServiceBus::connect()
{
    auto opened = BusConnection::open();
    if (!opened)
        return opened.error();
    BusConnection& bus = *opened.value();
    // An object for each client would cost a kilobyte each.
    auto calls = bus.addFallback(clientsPath, [this](BusMessage& call) { called(call); });
    if (!calls)
        return calls.error();
    if (auto watched = bus.setLossHandler([this] { loop_->post([this] { connectionLost(); }); });
        !watched)
        return watched;
    if (auto served = bus.serveOn(*loop_); !served)
        return served;
    connection_ = std::move(opened.value());
    calls_ = std::move(calls.value());
    return success;
}

void ServiceBus::connectionLost()
{
    const auto services = std::exchange(services_, {});
    const auto clients = std::exchange(clients_, {});
    calls_ = {};
    connection_.reset();
    for (const auto& [name, service] : services)
        ownerChanged(clients, name, {});
}

std::string ServiceBus::pathOfClient(ClientNumber number)
{
    return std::string{clientsPath} + "/" + std::to_string(number);
}

Result<> ServiceBus::add(ClientNumber number, const std::shared_ptr<ServiceBusClient>& client)
{
    const std::string service{client->service()};
    if (!services_.contains(service))
        if (auto watched = watchOwnerOf(service); !watched)
            return watched;
    std::erase_if(clients_, [number](const auto& entry) {
        return entry.first == number || entry.second.expired();
    });
    clients_.emplace_back(number, client);
    return success;
}

Result<> ServiceBus::watchOwnerOf(const std::string& service)
{
    auto watch =
        connection_->match(busName, ruleForOwnersOf(service), [this, service](BusMessage& signal) {
            std::string changed;
            std::string previous;
            std::string owner;
            // A copy, because clients may be added meanwhile.
            if (signal.read(changed, previous, owner))
                ownerChanged(Clients{clients_}, service, owner);
        });
    if (!watch)
        return watch.error();
    services_[service] = {std::move(watch.value()),
                          std::make_unique<CallerProof>(*loop_, *connection_, service)};
    return success;
}

CallerProof& ServiceBus::proofTo(std::string_view service)
{
    return *services_.find(service)->second.proof;
}

void ServiceBus::ownerChanged(const Clients& clients, const std::string& service,
                              const std::string& owner)
{
    for (const auto& [number, weak] : clients)
        if (const auto client = weak.lock(); client && client->service() == service)
            client->ownerChanged(owner);
}

void ServiceBus::called(BusMessage& call) const
{
    const std::string_view number = call.path().substr(std::string_view{clientsPath}.size());
    ClientNumber wanted = 0;
    if (number.starts_with('/'))
        std::from_chars(number.data() + 1, number.data() + number.size(), wanted);
    const auto known = std::ranges::find(clients_, wanted, &Clients::value_type::first);
    if (const auto client = known != clients_.end() ? known->second.lock() : nullptr)
        client->called(call);
}

void ServiceBus::whenThereIsRoom(std::function<void(CallUnderWay)> send)
{
    waiting_.push_back(std::move(send));
    sendWaiting();
}

void ServiceBus::sendWaiting()
{
    // Deferred, so that calls that fail at once do not pile up on the stack.
    const auto end = [this](std::nullptr_t) {
        --callsUnderWay_;
        if (!waiting_.empty())
            post([this] { sendWaiting(); });
    };
    while (!waiting_.empty() && callsUnderWay_ < mostCallsUnderWay) {
        ++callsUnderWay_;
        const auto send = std::move(waiting_.front());
        waiting_.pop_front();
        send(CallUnderWay{nullptr, end});
    }
}

} // namespace veltra
