#include "channel/protocol/HelperSide.h"

#include "channel/protocol/ProtocolNames.h"
#include "platform/bus/ConnectionNames.h"

#include <array>
#include <exception>
#include <utility>

namespace veltra {

namespace {

constexpr auto anyCaller = SD_BUS_VTABLE_UNPRIVILEGED;

const std::array<sd_bus_vtable, 5> methods{
    {SD_BUS_VTABLE_START(0),
     SD_BUS_METHOD_WITH_NAMES(protocol::getVersion, "", "", "s", SD_BUS_PARAM(version),
                              &BusConnection::useMethod, anyCaller),
     SD_BUS_METHOD_WITH_NAMES(protocol::runCommand, "s", SD_BUS_PARAM(option), "i",
                              SD_BUS_PARAM(exitStatus), &BusConnection::useMethod, anyCaller),
     SD_BUS_METHOD_WITH_NAMES(protocol::runCommandWithData, "say",
                              SD_BUS_PARAM(option) SD_BUS_PARAM(authData), "i",
                              SD_BUS_PARAM(exitStatus), &BusConnection::useMethod, anyCaller),
     SD_BUS_VTABLE_END}};

void runCommand(HelperProtocol& helper, const std::shared_ptr<BusCall>& call)
{
    const auto completion = [call](std::int32_t status) { call->answer(status); };
    BusMessage& message = call->message();
    std::string option;
    HelperProtocol::AuthorizationData data;
    if (message.read(option))
        helper.runCommand(option, completion);
    else if (message.read(option, data))
        helper.runCommand(option, data.empty() ? std::nullopt : std::optional{std::move(data)},
                          completion);
}

// The reply may be sent after the connection has ended.
void serve(HelperProtocol& helper, const ServiceConnection& connection,
           const std::shared_ptr<BusCall>& call)
{
    if (const auto objection = connection.objection(call->message()))
        call->refuse(*objection);
    else if (call->message().member() == protocol::getVersion)
        helper.getVersion([call](const std::string& version) { call->answer(version); });
    else
        runCommand(helper, call);
}

std::string withoutNul(const std::string& text)
{
    std::string carried;
    carried.reserve(text.size());
    for (const char c : text)
        if (c == '\0')
            carried += "\xEF\xBF\xBD";
        else
            carried += c;
    return carried;
}

class RemoteApp : public AppProtocol {
  public:
    explicit RemoteApp(ServiceConnection::Place place) : place_{std::move(place)} {}

    void logWithStdOut(const std::string& text) override { log(protocol::logWithStdOut, text); }
    void logWithStdErr(const std::string& text) override { log(protocol::logWithStdErr, text); }

  private:
    void log(const char* method, const std::string& text)
    {
        auto call =
            place_.bus->methodCall(place_.name, place_.path, protocol::appInterface, method);
        // If the bus is gone, there is nobody to tell.
        static_cast<void>(place_.bus->send(call.append(withoutNul(text))));
    }

    ServiceConnection::Place place_;
};

} // namespace

BusSlot exportHelperProtocol(const ServiceConnection& connection, HelperProtocol& helper)
{
    const auto& [bus, name, path] = connection.exportedObject();
    auto exported = bus->addObject(
        path, protocol::helperInterface, methods.data(), [&connection, &helper](BusCall call) {
            const auto shared = std::make_shared<BusCall>(std::move(call));
            try {
                serve(helper, connection, shared);
            } catch (const std::exception& error) {
                shared->refuse({connections::failedError, error.what()});
            }
        });
    return exported ? std::move(exported.value()) : BusSlot{};
}

std::shared_ptr<AppProtocol> remoteAppProtocol(const ServiceConnection::Place& remoteObject)
{
    return std::make_shared<RemoteApp>(remoteObject);
}

} // namespace veltra
