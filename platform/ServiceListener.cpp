#include "platform/ServiceListener.h"

#include "platform/ConnectionNames.h"
#include "platform/SystemLog.h"

#include <chrono>
#include <random>
#include <utility>

namespace veltra {

using namespace connections;

namespace {

// Of one program, those that wait to be opened included.
constexpr std::size_t mostConnections = 4096;

sdbus::Error refusedBecause(const std::string& reason)
{
    return {refusedError, reason};
}

pid_t processOf(sdbus::IProxy& busDaemon)
{
    std::uint32_t process = 0;
    busDaemon.callMethod("GetConnectionUnixProcessID")
        .onInterface(busName)
        .withArguments(std::string{busName})
        .storeResultsTo(process);
    return static_cast<pid_t>(process);
}

} // namespace

ServiceListener::ServiceListener(std::shared_ptr<PollLoop> loop, std::string machServiceName)
    : loop_{std::move(loop)}, name_{std::move(machServiceName)}, instance_{std::random_device{}()}
{
}

ServiceListener::~ServiceListener()
{
    loop_->setSource(nullptr);
}

Result<std::monostate> ServiceListener::resume()
{
    auto connection = BusConnection::open();
    if (!connection)
        return connection.error();
    connection_ = std::move(connection.value());
    connection_->setLossHandler([this] {
        forgetAll();
        if (onLoss_)
            onLoss_();
    });
    try {
        sdbus::IConnection& bus = *connection_->bus();
        busDaemon_ = sdbus::createProxy(bus, busName, busPath);
        setting_ = {loop_,
                    &bus,
                    busDaemon_.get(),
                    processOf(*busDaemon_),
                    examine_,
                    std::make_shared<std::map<uid_t, int>>()};
        watchClients();
        exportRoot();
        bus.requestName(name_);
    } catch (const sdbus::Error& error) {
        SystemLog::log({"the name ", name_, " cannot be taken: ", error.getMessage()});
        return Error{std::make_error_code(std::errc::permission_denied), "take the name", name_};
    }
    loop_->setSource(connection_.get());
    return std::monostate{};
}

void ServiceListener::end()
{
    if (!connection_)
        return;
    try {
        sdbus::IConnection& bus = *connection_->bus();
        // The bus answers after all that it had sent here by then.
        bus.releaseName(name_);
        withdrawAll();
        root_.reset();
        while (bus.processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        SystemLog::log({"the name ", name_, " cannot be given back: ", error.getMessage()});
    }
}

void ServiceListener::flush()
{
    if (!connection_)
        return;
    try {
        // The bus deals with what it is sent in that order.
        std::string id;
        busDaemon_->callMethod("GetId")
            .onInterface(busName)
            .withTimeout(std::chrono::seconds{1})
            .storeResultsTo(id);
    } catch (const sdbus::Error& error) {
        SystemLog::log({"the bus does not answer at the end: ", error.getMessage()});
    }
}

// Who waits to be let in has not been served either.
void ServiceListener::withdrawAll()
{
    for (auto& [name, client] : std::exchange(clients_, {})) {
        for (const Waiting& waiting : client.waiting)
            waiting.result.returnError(
                sdbus::Error{unknownObjectError, "this instance of the service has ended"});
        for (const auto& [path, connection] : client.connections)
            connection->withdraw();
    }
}

// One match for all clients: the bus allows a connection 512.
void ServiceListener::watchClients()
{
    const std::string departures = std::string{"type='signal',sender='"} + busName +
                                   "',interface='" + busName +
                                   "',member='NameOwnerChanged',arg2=''";
    departures_ = connection_->bus()->addMatch(departures, [this](sdbus::Message& message) {
        std::string name;
        message >> name;
        forget(name);
    });
}

void ServiceListener::exportRoot()
{
    root_ = sdbus::createObject(*connection_->bus(), rootPath(name_));
    root_->registerMethod("Open")
        .onInterface(connectionsInterface)
        .withInputParamNames("client")
        .withOutputParamNames("server")
        .implementedAs([this](Opened&& result, const sdbus::ObjectPath& client) {
            open(std::move(result), root_->getCurrentlyProcessedMessage()->getSender(), client);
        });
    root_->registerMethod("Close")
        .onInterface(connectionsInterface)
        .withInputParamNames("server")
        .implementedAs([this](const sdbus::ObjectPath& server) {
            close(root_->getCurrentlyProcessedMessage()->getSender(), server);
        })
        .withNoReply();
    root_->finishRegistration();
}

void ServiceListener::open(Opened result, const std::string& client, const std::string& remotePath)
{
    Client& known = clients_[client];
    if (known.waiting.size() + known.connections.size() >= mostConnections) {
        result.returnError(refusedBecause("it has too many connections"));
        return;
    }
    Waiting waiting{std::move(result), remotePath};
    if (known.process) {
        accept(client, std::move(waiting));
        return;
    }
    known.waiting.push_back(std::move(waiting));
    if (known.settlement)
        return;
    known.settlement = std::make_shared<CallerSettlement>(setting_, client);
    known.settlement->start([this, client](const auto& process, const std::string& reason) {
        settled(client, process, reason);
    });
}

void ServiceListener::settled(const std::string& client, const CallerSettlement::Process& process,
                              const std::string& refusal)
{
    Client& known = clients_[client];
    const auto settlement = std::exchange(known.settlement, nullptr);
    known.process = process;
    for (Waiting& waiting : std::exchange(known.waiting, {}))
        if (process)
            accept(client, std::move(waiting));
        else
            waiting.result.returnError(refusedBecause(refusal));
}

void ServiceListener::accept(const std::string& client, Waiting waiting)
{
    Client& known = clients_[client];
    if (const auto change = known.process->change()) {
        waiting.result.returnError(refusedBecause(*change));
        return;
    }
    const std::string path = newPath();
    const auto& bus = connection_->bus();
    auto connection = std::make_shared<ServiceConnection>(
        known.process, ServiceConnection::Place{bus, connection_->uniqueName(), path},
        ServiceConnection::Place{bus, client, waiting.remotePath});
    if (!delegate_ || !delegate_->listener(*this, connection)) {
        waiting.result.returnError(refusedBecause("the service does not accept it"));
        return;
    }
    known.connections[path] = std::move(connection);
    waiting.result.returnResults(sdbus::ObjectPath{path});
}

void ServiceListener::close(const std::string& client, const std::string& path)
{
    const auto known = clients_.find(client);
    if (known == clients_.end())
        return;
    if (const auto closed = known->second.connections.extract(path))
        closed.mapped()->invalidate();
}

void ServiceListener::forget(const std::string& client)
{
    const auto gone = clients_.extract(client);
    if (!gone)
        return;
    for (const auto& [path, connection] : gone.mapped().connections)
        connection->invalidate();
}

void ServiceListener::forgetAll()
{
    while (!clients_.empty())
        forget(clients_.begin()->first);
}

std::string ServiceListener::newPath()
{
    return rootPath(name_) + "/client" + std::to_string(instance_) + "_" +
           std::to_string(++lastPath_);
}

} // namespace veltra
