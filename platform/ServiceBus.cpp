#include "platform/ServiceBus.h"

#include "platform/CallerChallenge.h"
#include "platform/ConnectionNames.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

using namespace connections;

namespace {

// The bus of Debian 12 lets a connection wait for 128 answers.
constexpr int mostCallsUnderWay = 64;

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
    loop_->setSource(connection_.get());
}

void ServiceBus::lose()
{
    loop_->setSource(nullptr);
    // Goes last, when nobody else has it: the matches and objects on it need it for their end.
    const auto lost = std::exchange(connection_, {});
    const auto services = std::exchange(services_, {});
    peer_.reset();
    busDaemon_.reset();
    for (const auto& [name, service] : services)
        for (const auto& weak : service.handlers)
            if (const auto handler = weak.lock())
                (*handler)({});
}

std::shared_ptr<const ServiceBus::OwnerHandler> ServiceBus::watchOwner(const std::string& service,
                                                                       OwnerHandler handler)
{
    const auto [known, isNew] = services_.try_emplace(service);
    if (isNew)
        known->second.ownerChanges = connection_->bus()->addMatch(
            std::string{"type='signal',sender='"} + busName + "',interface='" + busName +
                "',member='NameOwnerChanged',arg0='" + service + "'",
            [this](sdbus::Message& message) {
                std::string name;
                std::string previous;
                std::string owner;
                message >> name >> previous >> owner;
                ownerChanged(name, owner);
            });
    auto& handlers = known->second.handlers;
    std::erase_if(handlers, [](const auto& weak) { return weak.expired(); });
    auto shared = std::make_shared<const OwnerHandler>(std::move(handler));
    handlers.emplace_back(shared);
    return shared;
}

// Handlers may watch anew, or no more.
void ServiceBus::ownerChanged(const std::string& service, const std::string& owner)
{
    const auto handlers = services_[service].handlers;
    for (const auto& weak : handlers)
        if (const auto handler = weak.lock())
            (*handler)(owner);
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
