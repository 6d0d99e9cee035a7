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
    if (const auto checked = connection.check(call->message()); !checked)
        call->refuse({connections::refusedError, checked.error().message()});
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

// Of output that the client has not acknowledged.
constexpr std::size_t mostOnTheWay = std::size_t{1024} * 1024;
// What a message costs besides its text.
constexpr std::size_t costOfMessage = 512;

class BusApp : public RemoteApp {
  public:
    BusApp(ServiceConnection::Place place, std::function<void()> onProgress)
        : place_{std::move(place)}, onProgress_{std::move(onProgress)}
    {
    }

    void logWithStdOut(const std::string& text) override { log(protocol::logWithStdOut, text); }
    void logWithStdErr(const std::string& text) override { log(protocol::logWithStdErr, text); }
    [[nodiscard]] bool hasRoom() const override { return onTheWay_ <= mostOnTheWay; }

  private:
    void log(const char* method, const std::string& text)
    {
        const std::string sent = sendable(text);
        auto call =
            place_.bus->methodCall(place_.name, place_.path, protocol::appInterface, method);
        // If the bus is gone, there is nobody to tell.
        static_cast<void>(place_.bus->send(call.append(sent)));
        onTheWay_ += sent.size() + costOfMessage;
        ask();
    }

    // A program handles its messages in order, so its answer acknowledges all that was sent before
    // the question. Little output needs no question.
    void ask()
    {
        if (isAsking_ || onTheWay_ <= mostOnTheWay / 2)
            return;
        auto question =
            place_.bus->methodCall(place_.name, place_.path, "org.freedesktop.DBus.Peer", "Ping");
        auto asked = place_.bus->call(
            question, [this, sent = onTheWay_](BusMessage&) { acknowledged(sent); });
        if (!asked)
            return;
        question_ = std::move(asked.value());
        isAsking_ = true;
    }

    // Any answer acknowledges, even an error.
    void acknowledged(std::size_t size)
    {
        isAsking_ = false;
        onTheWay_ -= size;
        ask();
        onProgress_();
    }

    ServiceConnection::Place place_;
    std::function<void()> onProgress_;
    std::size_t onTheWay_ = 0;
    bool isAsking_ = false;
    BusSlot question_;
};

} // namespace

Result<BusSlot> exportHelperProtocol(const ServiceConnection& connection, HelperProtocol& helper)
{
    const auto& [bus, name, path] = connection.exportedObject();
    return bus->addObject(path, protocol::helperInterface, methods.data(),
                          [&connection, &helper](BusCall call) {
                              const auto shared = std::make_shared<BusCall>(std::move(call));
                              try {
                                  serve(helper, connection, shared);
                              } catch (const std::exception& error) {
                                  shared->refuse({connections::failedError, error.what()});
                              }
                          });
}

std::shared_ptr<RemoteApp> remoteAppProtocol(const ServiceConnection::Place& remoteObject,
                                             std::function<void()> onProgress)
{
    return std::make_shared<BusApp>(remoteObject, std::move(onProgress));
}

} // namespace veltra
