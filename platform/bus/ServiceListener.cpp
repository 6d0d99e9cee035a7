#include "platform/bus/ServiceListener.h"

#include "platform/bus/ConnectionNames.h"
#include "platform/bus/Refusal.h"

#include <array>
#include <chrono>
#include <random>
#include <string_view>
#include <utility>

namespace veltra {

using namespace connections;

namespace {

// For each program.
constexpr std::size_t mostConnections = 4096;

const std::array<sd_bus_vtable, 5> rootMethods{
    {SD_BUS_VTABLE_START(0),
     SD_BUS_METHOD_WITH_NAMES("Prove", "h", SD_BUS_PARAM(socket), "", "", &BusConnection::useMethod,
                              SD_BUS_VTABLE_UNPRIVILEGED),
     SD_BUS_METHOD_WITH_NAMES("Open", "o", SD_BUS_PARAM(client), "o", SD_BUS_PARAM(server),
                              &BusConnection::useMethod, SD_BUS_VTABLE_UNPRIVILEGED),
     SD_BUS_METHOD_WITH_NAMES("Close", "o", SD_BUS_PARAM(server), "", "", &BusConnection::useMethod,
                              SD_BUS_VTABLE_UNPRIVILEGED | SD_BUS_VTABLE_METHOD_NO_REPLY),
     SD_BUS_VTABLE_END}};

BusError refusedBecause(const std::string& reason)
{
    return {refusedError, reason};
}

} // namespace

ServiceListener::ServiceListener(std::shared_ptr<EventLoop> loop, std::string machServiceName)
    : loop_{std::move(loop)}, name_{std::move(machServiceName)}, instance_{std::random_device{}()}
{
}

Result<> ServiceListener::resume()
{
    auto connection = BusConnection::open();
    if (!connection)
        return connection.error();
    bus_ = std::move(connection.value());
    auto watched = bus_->setLossHandler([this] {
        forgetAll();
        if (onLoss_)
            onLoss_();
    });
    if (!watched)
        return watched;
    return takePlace();
}

Result<> ServiceListener::takePlace()
{
    const auto daemon = bus_->askBus<std::uint32_t>("GetConnectionUnixProcessID", busName);
    if (!daemon)
        return daemon.error();
    setting_ = {.loop = loop_,
                .bus = bus_.get(),
                .busDaemonProcess = static_cast<pid_t>(daemon.value()),
                .examine = examine_,
                .workers = std::make_shared<FairWorkers>(CallerAuthentication::mostThreads,
                                                         CallerAuthentication::mostForOneUser)};
    if (auto watched = watchClients(); !watched)
        return watched;
    if (auto exported = exportRoot(); !exported)
        return exported;
    if (auto named = bus_->requestName(name_); !named)
        return named;
    return bus_->serveOn(*loop_);
}

Result<> ServiceListener::end()
{
    const auto released = bus_->releaseName(name_);
    withdrawAll();
    root_ = {};
    return released ? bus_->processArrived() : released;
}

Result<> ServiceListener::flush()
{
    // The bus handles its messages in order, so its reply shows that it has read all earlier ones.
    auto question = bus_->busCall("GetId");
    if (const auto answer = bus_->call(question, std::chrono::seconds{1}); !answer)
        return answer.error();
    return success;
}

// Clients that still prove which process they are have not been served either.
void ServiceListener::withdrawAll()
{
    for (auto& [name, client] : std::exchange(clients_, {})) {
        if (client.proof)
            client.proof->refuse({unknownObjectError, "this instance of the service has ended"});
        for (const auto& [path, connection] : client.connections)
            connection->withdraw();
    }
}

// One match for all clients, because the bus allows a connection only 512.
Result<> ServiceListener::watchClients()
{
    auto watch = bus_->match(
        busName, std::string{"interface='"} + busName + "',member='NameOwnerChanged',arg2=''",
        [this](BusMessage& signal) {
            std::string name;
            std::string previous;
            std::string owner;
            if (signal.read(name, previous, owner))
                forget(name);
        });
    if (!watch)
        return watch.error();
    departures_ = std::move(watch.value());
    return success;
}

Result<> ServiceListener::exportRoot()
{
    auto root = bus_->addObject(rootPath(name_), connectionsInterface, rootMethods.data(),
                                [this](BusCall call) { called(std::move(call)); });
    if (!root)
        return root.error();
    root_ = std::move(root.value());
    return success;
}

void ServiceListener::called(BusCall call)
{
    const std::string client{call.message().sender()};
    const std::string_view method = call.message().member();
    ObjectPath path;
    if (method == "Prove")
        prove(client, std::move(call));
    else if (!call.message().read(path))
        return;
    else if (method == "Open")
        open(client, path.text, std::move(call));
    else
        close(client, path.text);
}

void ServiceListener::prove(const std::string& client, BusCall call)
{
    Fd socket;
    if (!call.message().read(socket))
        return;
    Client& known = clients_[client];
    if (known.authentication) {
        call.refuse(refusedBecause(refusal(Refusal::asksTwice).message()));
        return;
    }
    if (known.process) {
        call.answer();
        return;
    }
    known.proof.emplace(std::move(call));
    known.authentication =
        std::make_shared<CallerAuthentication>(setting_, client, std::move(socket));
    known.authentication->start(
        [this, client](const auto& process) { authenticationEnded(client, process); });
}

void ServiceListener::authenticationEnded(const std::string& client,
                                          const Result<CallerAuthentication::Process>& process)
{
    Client& known = clients_[client];
    const auto authentication = std::exchange(known.authentication, nullptr);
    BusCall proof = std::move(*std::exchange(known.proof, std::nullopt));
    if (process) {
        known.process = process.value();
        proof.answer();
        return;
    }
    clients_.erase(client);
    const std::string& reason = process.error().message();
    proof.refuse(refusedBecause(reason));
    if (onRefusal_)
        onRefusal_(authentication->caller(), reason);
}

void ServiceListener::open(const std::string& client, const std::string& remotePath, BusCall call)
{
    const auto found = clients_.find(client);
    if (found == clients_.end() || !found->second.process) {
        call.refuse({unprovedError, "it has not proved which process it is"});
        return;
    }
    Client& known = found->second;
    if (known.connections.size() >= mostConnections) {
        call.refuse(refusedBecause("it has too many connections"));
        return;
    }
    if (const auto unchanged = known.process->checkUnchanged(); !unchanged) {
        call.refuse(refusedBecause(unchanged.error().message()));
        return;
    }
    const std::string path = newPath();
    auto connection = std::make_shared<ServiceConnection>(
        known.process, ServiceConnection::Place{bus_, bus_->uniqueName(), path},
        ServiceConnection::Place{bus_, client, remotePath});
    if (!delegate_ || !delegate_->listener(*this, connection)) {
        call.refuse(refusedBecause("the service does not accept it"));
        return;
    }
    known.connections[path] = std::move(connection);
    call.answer(ObjectPath{path});
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
