#include "platform/ServiceBus.h"

#include "platform/CallerChallenge.h"
#include "platform/ConnectionNames.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

using namespace connections;

namespace {

// The bus of Debian 12 lets a connection wait for 128 answers.
constexpr int mostCallsUnderWay = 64;

// What follows is the client's number.
constexpr std::string_view clientsPath = "/com/veltra/agentMonitor/client/";

std::shared_ptr<PollLoop> makeLoop()
{
    auto loop = PollLoop::open();
    if (!loop)
        throw std::runtime_error{loop.error().message()};
    return std::move(loop.value());
}

// The library hands out copies that a program which we start would inherit.
Fd privateCopy(const sdbus::UnixFd& descriptor)
{
    return Fd{::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 0)};
}

} // namespace

ServiceBus& ServiceBus::shared()
{
    static ServiceBus bus;
    return bus;
}

ServiceBus::ServiceBus() : loop_{makeLoop()}, thread_{[this] { loop_->run(); }} {}

ServiceBus::~ServiceBus()
{
    loop_->stop();
    thread_.join();
    loop_->setSource(nullptr);
}

std::shared_ptr<sdbus::IConnection> ServiceBus::connection()
{
    if (!connection_)
        connect();
    return connection_ ? connection_->bus() : nullptr;
}

void ServiceBus::connect()
{
    auto connection = BusConnection::open();
    if (!connection)
        return;
    connection_ = std::move(connection.value());
    connection_->setLossHandler([this] { loop_->post([this] { lose(); }); });
    sdbus::IConnection& bus = *connection_->bus();
    busDaemon_ = sdbus::createProxy(bus, busName, busPath);
    peer_ = sdbus::createObject(bus, peerPath);
    peer_->registerMethod("Prove")
        .onInterface(peerInterface)
        .withInputParamNames("socket", "nonce")
        .implementedAs([this](const sdbus::UnixFd& socket, const std::vector<std::uint8_t>& nonce) {
            prove(socket, nonce);
        })
        .withNoReply();
    peer_->finishRegistration();
    // An object for each client would cost each of them a kilobyte.
    calls_ = bus.addMatch("type='method_call',path_namespace='" +
                              std::string{clientsPath.substr(0, clientsPath.size() - 1)} + "'",
                          [this](sdbus::Message& call) { called(call); });
    loop_->setSource(connection_.get());
}

void ServiceBus::lose()
{
    loop_->setSource(nullptr);
    // Goes last, when nobody else has it: the matches and objects on it need it for their end.
    const auto lost = std::exchange(connection_, {});
    const auto services = std::exchange(services_, {});
    const auto clients = std::exchange(clients_, {});
    calls_.reset();
    peer_.reset();
    busDaemon_.reset();
    for (const auto& [name, service] : services)
        ownerChanged(clients, name, {});
}

std::string ServiceBus::pathOfClient(ClientNumber number)
{
    return std::string{clientsPath} + std::to_string(number);
}

void ServiceBus::add(ClientNumber number, const std::shared_ptr<ServiceBusClient>& client)
{
    const std::string service{client->service()};
    if (!services_.contains(service))
        services_.emplace(service, makeService(service));
    std::erase_if(clients_, [number](const auto& entry) {
        return entry.first == number || entry.second.expired();
    });
    clients_.emplace_back(number, client);
}

ServiceBus::Service ServiceBus::makeService(const std::string& name)
{
    sdbus::IConnection& bus = *connection_->bus();
    const auto takeChange = [this](sdbus::Message& message) {
        std::string changed;
        std::string previous;
        std::string owner;
        message >> changed >> previous >> owner;
        // A copy, as clients may be added meanwhile.
        ownerChanged(Clients{clients_}, changed, owner);
    };
    return {.ownerChanges =
                bus.addMatch(std::string{"type='signal',sender='"} + busName + "',interface='" +
                                 busName + "',member='NameOwnerChanged',arg0='" + name + "'",
                             takeChange),
            .root = sdbus::createProxy(bus, name, rootPath(name))};
}

sdbus::IProxy& ServiceBus::root(const std::string& service)
{
    return *services_.at(service).root;
}

void ServiceBus::ownerChanged(const Clients& clients, const std::string& service,
                              const std::string& owner)
{
    for (const auto& [number, weak] : clients)
        if (const auto client = weak.lock(); client && client->service() == service)
            client->ownerChanged(owner);
}

void ServiceBus::called(sdbus::Message& call) const
{
    const std::string path = call.getPath();
    if (path.size() <= clientsPath.size())
        return;
    ClientNumber number = 0;
    std::from_chars(path.data() + clientsPath.size(), path.data() + path.size(), number);
    const auto known = std::ranges::find(clients_, number, &Clients::value_type::first);
    if (const auto client = known != clients_.end() ? known->second.lock() : nullptr)
        client->called(call);
}

void ServiceBus::whenThereIsRoom(PollLoop::Handler send)
{
    waiting_.push_back(std::move(send));
    sendWaiting();
}

void ServiceBus::callEnded()
{
    --callsUnderWay_;
    // Later, so that calls that fail at once do not pile up on the stack.
    if (!waiting_.empty())
        post([this] { sendWaiting(); });
}

void ServiceBus::sendWaiting()
{
    while (!waiting_.empty() && callsUnderWay_ < mostCallsUnderWay) {
        ++callsUnderWay_;
        const auto send = std::move(waiting_.front());
        waiting_.pop_front();
        send();
    }
}

void ServiceBus::prove(const sdbus::UnixFd& socket, const std::vector<std::uint8_t>& nonce)
{
    if (isServiceOfRoot(peer_->getCurrentlyProcessedMessage()->getSender()))
        answerChallenge(privateCopy(socket), nonce, connection_->uniqueName());
}

bool ServiceBus::isServiceOfRoot(const std::string& uniqueName)
{
    const auto isOwner = [&](const auto& service) {
        std::string owner;
        busDaemon_->callMethod("GetNameOwner")
            .onInterface(busName)
            .withArguments(service.first)
            .storeResultsTo(owner);
        return owner == uniqueName;
    };
    std::uint32_t user = 0;
    busDaemon_->callMethod("GetConnectionUnixUser")
        .onInterface(busName)
        .withArguments(uniqueName)
        .storeResultsTo(user);
    return user == 0 && std::ranges::any_of(services_, isOwner);
}

} // namespace veltra
