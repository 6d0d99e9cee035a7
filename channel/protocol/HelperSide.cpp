#include "channel/protocol/HelperSide.h"

#include "channel/protocol/ProtocolNames.h"
#include "platform/bus/ConnectionNames.h"

#include <array>
#include <cstddef>
#include <exception>
#include <string_view>
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

// The size of the character at the start of `text`, which is valid UTF-8, if the library does not
// send it: NUL, U+FDD0 to U+FDEF, or one of the last two of a plane. 0 if it does, or if no
// character starts there.
std::size_t sizeOfUnsendable(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(0) == 0)
        return 1;
    if (byte(0) == 0xEF && byte(1) == 0xB7)
        return byte(2) >= 0x90 && byte(2) <= 0xAF ? 3 : 0;
    if (byte(0) == 0xEF && byte(1) == 0xBF)
        return byte(2) >= 0xBE ? 3 : 0;
    if (byte(0) >= 0xF0 && (byte(1) & 0xF) == 0xF && byte(2) == 0xBF)
        return byte(3) >= 0xBE ? 4 : 0;
    return 0;
}

std::string sendable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = sizeOfUnsendable(text);
        result += size > 0 ? "\xEF\xBF\xBD" : text.substr(0, 1);
        text.remove_prefix(size > 0 ? size : 1);
    }
    return result;
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
        static_cast<void>(place_.bus->send(call.append(sendable(text))));
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
