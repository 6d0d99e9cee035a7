#include "platform/bus/BusConnection.h"

#include "platform/base/EventLoop.h"
#include "platform/bus/ConnectionNames.h"
#include "platform/log/SystemLog.h"

#include <cstdint>
#include <exception>
#include <new>
#include <optional>
#include <string_view>

#include <sys/socket.h>

namespace veltra {

namespace {

constexpr const char* systemBus = "unix:path=/run/dbus/system_bus_socket";
constexpr std::uint64_t never = UINT64_MAX;

using Handler = BusConnection::Handler;

Error failure(int negative, std::string_view action, std::string_view subject = {})
{
    return Error{{-negative, std::generic_category()}, action, subject};
}

Result<> outcome(int result, std::string_view action, std::string_view subject = {})
{
    if (result < 0)
        return failure(result, action, subject);
    return success;
}

void runGuarded(const Handler& handler, sd_bus_message* message) noexcept
{
    try {
        BusMessage shared{message};
        handler(shared);
    } catch (const std::exception& error) {
        SystemLog::logThrown(error);
    }
}

// Returns 0 so that other matches also get the message.
int passOn(sd_bus_message* message, void* handler, sd_bus_error*) noexcept
{
    runGuarded(*static_cast<const Handler*>(handler), message);
    return 0;
}

int settle(sd_bus_message* message, void* handler, sd_bus_error*) noexcept
{
    runGuarded(*static_cast<const Handler*>(handler), message);
    return 1;
}

template <typename Handler>
void destroy(void* handler)
{
    delete static_cast<Handler*>(handler);
}

// Registers a handler that is destroyed with its slot, but never while it runs.
template <typename Handler, typename Register>
Result<BusSlot> registered(Handler handler, std::string_view action, std::string_view subject,
                           const Register& add)
{
    auto kept = std::make_unique<Handler>(std::move(handler));
    sd_bus_slot* slot = nullptr;
    if (const int result = add(&slot, kept.get()); result < 0)
        return failure(result, action, subject);
    ::sd_bus_slot_set_destroy_callback(slot, &destroy<Handler>);
    static_cast<void>(kept.release());
    return BusSlot{slot};
}

std::string nameOfCall(const BusMessage& message)
{
    return std::string{message.interface()} + "." + std::string{message.member()};
}

} // namespace

void BusSlot::detach()
{
    if (slot_)
        ::sd_bus_slot_set_floating(slot_.get(), 1);
    slot_.reset();
}

BusCall::~BusCall()
{
    if (call_.handle())
        refuse({connections::failedError, "it could not be done"});
}

BusMessage BusCall::makeReply() const
{
    sd_bus_message* reply = nullptr;
    if (::sd_bus_message_new_method_return(call_.handle(), &reply) == -ENOMEM)
        throw std::bad_alloc{};
    return BusMessage::takeOver(reply);
}

void BusCall::send(const BusMessage& reply)
{
    if (!reply.isWhole())
        return;
    ::sd_bus_message_send(reply.handle());
    call_ = BusMessage{};
}

void BusCall::refuse(const BusError& error)
{
    const BusMessage call = std::exchange(call_, {});
    const sd_bus_error carried{error.name.c_str(), error.message.c_str(), 0};
    ::sd_bus_reply_method_error(call.handle(), &carried);
}

Result<std::unique_ptr<BusConnection>> BusConnection::open()
{
    auto opened = openAt(systemBus);
    // A library of the system's that is loaded into a trusted program can lead it to another bus.
    if (opened && opened.value()->owner() != 0)
        return failure(-EPERM, "trust the bus, which is not root's, at", systemBus);
    return opened;
}

Result<std::unique_ptr<BusConnection>> BusConnection::openAt(const std::string& address)
{
    sd_bus* bus = nullptr;
    if (const int result = ::sd_bus_new(&bus); result < 0)
        return failure(result, "connect to", address);
    std::unique_ptr<BusConnection> connection{new BusConnection{bus}};
    int result = ::sd_bus_set_address(bus, address.c_str());
    if (result >= 0)
        result = ::sd_bus_set_bus_client(bus, 1);
    if (result >= 0)
        result = ::sd_bus_set_method_call_timeout(bus, never);
    if (result >= 0)
        result = ::sd_bus_start(bus);
    const char* uniqueName = nullptr;
    if (result >= 0)
        result = ::sd_bus_get_unique_name(bus, &uniqueName);
    if (result < 0)
        return failure(result, "connect to", address);

    connection->uniqueName_ = uniqueName;
    return connection;
}

// The user who listened at the address when it was connected to.
uid_t BusConnection::owner() const
{
    constexpr auto nobody = static_cast<uid_t>(-1);
    ucred listener{};
    socklen_t size = sizeof listener;
    return ::getsockopt(::sd_bus_get_fd(bus_.get()), SOL_SOCKET, SO_PEERCRED, &listener, &size) == 0
               ? listener.uid
               : nobody;
}

BusConnection::~BusConnection()
{
    ::sd_bus_detach_event(bus_.get());
}

Result<> BusConnection::serveOn(EventLoop& loop)
{
    return outcome(::sd_bus_attach_event(bus_.get(), loop.handle(), SD_EVENT_PRIORITY_NORMAL),
                   "serve the bus");
}

Result<> BusConnection::setLossHandler(std::function<void()> onLoss)
{
    // The library itself sends this message, so nobody needs to be asked and nobody else can send
    // it.
    constexpr const char* library = "org.freedesktop.DBus.Local";
    auto watch = match(library, std::string{"interface='"} + library + "',member='Disconnected'",
                       [onLoss = std::move(onLoss)](BusMessage&) { onLoss(); });
    if (!watch)
        return watch.error();
    loss_ = std::move(watch.value());
    return success;
}

BusMessage BusConnection::methodCall(const std::string& service, const std::string& path,
                                     const std::string& interface, const std::string& method)
{
    sd_bus_message* message = nullptr;
    if (::sd_bus_message_new_method_call(bus_.get(), &message, service.c_str(), path.c_str(),
                                         interface.c_str(), method.c_str()) == -ENOMEM)
        throw std::bad_alloc{};
    return BusMessage::takeOver(message);
}

Result<> BusConnection::send(BusMessage& message)
{
    if (!message.isWhole())
        return failure(-EINVAL, "send", nameOfCall(message));
    ::sd_bus_message_set_expect_reply(message.handle(), 0);
    return outcome(::sd_bus_send(bus_.get(), message.handle(), nullptr), "send",
                   nameOfCall(message));
}

BusMessage BusConnection::busCall(const char* method)
{
    return methodCall(connections::busName, connections::busPath, connections::busName, method);
}

Result<BusMessage> BusConnection::call(BusMessage& message, Patience patience)
{
    if (!message.isWhole())
        return failure(-EINVAL, "call", nameOfCall(message));
    const std::uint64_t limit =
        patience == forEver ? never : static_cast<std::uint64_t>(patience.count());
    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    const int result = ::sd_bus_call(bus_.get(), message.handle(), limit, &error, &reply);
    const std::string reason = error.message ? error.message : "";
    ::sd_bus_error_free(&error);
    if (result < 0)
        return failure(result, "call",
                       nameOfCall(message) + (reason.empty() ? "" : " (" + reason + ")"));
    return BusMessage::takeOver(reply);
}

Result<BusSlot> BusConnection::call(BusMessage& message, Handler onAnswer)
{
    if (!message.isWhole())
        return failure(-EINVAL, "call", nameOfCall(message));
    return registered(std::move(onAnswer), "call", nameOfCall(message),
                      [&](sd_bus_slot** slot, Handler* handler) {
                          return ::sd_bus_call_async(bus_.get(), slot, message.handle(), &passOn,
                                                     handler, 0);
                      });
}

Result<BusSlot> BusConnection::match(const std::string& sender, const std::string& rule,
                                     Handler onMatch)
{
    const std::string whole = "type='signal',sender='" + sender + "'," + rule;
    Handler fromSender = [sender, onMatch = std::move(onMatch)](BusMessage& signal) {
        if (signal.sender() == sender)
            onMatch(signal);
    };
    return registered(
        std::move(fromSender), "listen for", whole, [&](sd_bus_slot** slot, Handler* handler) {
            return ::sd_bus_add_match(bus_.get(), slot, whole.c_str(), &passOn, handler);
        });
}

Result<BusSlot> BusConnection::addObject(const std::string& path, const char* interface,
                                         const sd_bus_vtable* vtable, CallHandler onCall)
{
    return registered(std::move(onCall), "add object", path,
                      [&](sd_bus_slot** slot, CallHandler* handler) {
                          return ::sd_bus_add_object_vtable(bus_.get(), slot, path.c_str(),
                                                            interface, vtable, handler);
                      });
}

int BusConnection::useMethod(sd_bus_message* call, void* handler, sd_bus_error*) noexcept
{
    runGuarded(
        [handler](BusMessage& message) {
            (*static_cast<const CallHandler*>(handler))(BusCall{std::move(message)});
        },
        call);
    return 1;
}

Result<BusSlot> BusConnection::addFallback(const std::string& prefix, Handler onCall)
{
    return registered(
        std::move(onCall), "add objects below", prefix, [&](sd_bus_slot** slot, Handler* handler) {
            return ::sd_bus_add_fallback(bus_.get(), slot, prefix.c_str(), &settle, handler);
        });
}

Result<> BusConnection::requestName(const std::string& name)
{
    return outcome(::sd_bus_request_name(bus_.get(), name.c_str(), 0), "take the name", name);
}

Result<> BusConnection::releaseName(const std::string& name)
{
    return outcome(::sd_bus_release_name(bus_.get(), name.c_str()), "give back the name", name);
}

Result<> BusConnection::processArrived()
{
    int result = 1;
    while (result > 0)
        result = ::sd_bus_process(bus_.get(), nullptr);
    return outcome(result, "serve the bus");
}

} // namespace veltra
