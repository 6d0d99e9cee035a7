#pragma once

#include "platform/base/Error.h"
#include "platform/bus/BusMessage.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace veltra {

class EventLoop;

/// Keeps something registered with a connection: a match, an object or the handler of a pending
/// reply. Owns the handler. Move-only; may outlive the connection, and must be used on the
/// connection's thread.
class [[nodiscard]] BusSlot {
  public:
    BusSlot() = default;
    explicit BusSlot(sd_bus_slot* slot) noexcept : slot_{slot} {}

    /// Hands the registration over to the connection: until the reply has come, or for good.
    void detach();

  private:
    struct Unref {
        void operator()(sd_bus_slot* slot) const noexcept { ::sd_bus_slot_unref(slot); }
    };
    std::unique_ptr<sd_bus_slot, Unref> slot_;
};

/// An incoming call of one of our methods. It is answered exactly once: by answer() or refuse(), or
/// else by an error when it is destroyed.
class BusCall {
  public:
    explicit BusCall(BusMessage call) : call_{std::move(call)} {}
    BusCall(BusCall&&) noexcept = default;
    BusCall& operator=(BusCall&&) = delete;
    BusCall(const BusCall&) = delete;
    BusCall& operator=(const BusCall&) = delete;
    ~BusCall();

    [[nodiscard]] BusMessage& message() noexcept { return call_; }

    // A caller that has left the bus gets no answer.
    template <typename... Values>
    void answer(const Values&... values)
    {
        BusMessage reply = makeReply();
        send(reply.append(values...));
    }
    void refuse(const BusError& error);

  private:
    [[nodiscard]] BusMessage makeReply() const;
    void send(const BusMessage& reply);

    BusMessage call_;
};

/// A connection to the D-Bus system bus. Use it on one thread only: that of the loop that serves
/// it, or the one that makes blocking calls. See sd-bus(3).
///
/// The connection uses the bus's fixed address only: an environment variable must not be able to
/// make a trusted program connect to somebody else's bus.
class BusConnection {
  public:
    using Handler = std::function<void(BusMessage&)>;
    using CallHandler = std::function<void(BusCall)>;
    using Patience = std::chrono::microseconds;
    static constexpr Patience forEver = Patience::max();

    /// Connects; takes one or two round trips. Fails if the bus does not belong to root.
    [[nodiscard]] static Result<std::unique_ptr<BusConnection>> open();

    /// Connects to another bus, for example a test's own.
    [[nodiscard]] static Result<std::unique_ptr<BusConnection>> openAt(const std::string& address);

    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    ~BusConnection();

    /// The name that the bus gave this connection, such as ":1.42".
    [[nodiscard]] const std::string& uniqueName() const noexcept { return uniqueName_; }

    /// Makes `loop` serve the connection from now on. The loop must outlive the connection.
    [[nodiscard]] Result<> serveOn(EventLoop& loop);

    /// Called once by the loop when the connection to the bus is lost, after all pending calls got
    /// an error. The connection must be kept alive until the handler has returned.
    [[nodiscard]] Result<> setLossHandler(std::function<void()> onLoss);

    /// A new call; append its arguments, then send it.
    [[nodiscard]] BusMessage methodCall(const std::string& service, const std::string& path,
                                        const std::string& interface, const std::string& method);

    /// Sends a message without expecting a reply.
    Result<> send(BusMessage& message);

    /// Sends a call and waits for its results. An error's code follows sd-bus-errors(3): for
    /// example ENXIO for a name that nobody owns.
    [[nodiscard]] Result<BusMessage> call(BusMessage& message, Patience patience = forEver);

    /// Asks the bus itself something about a name, and waits for the answer.
    template <typename Value>
    [[nodiscard]] Result<Value> askBus(const char* method, const std::string& name)
    {
        auto question = busCall(method);
        auto answer = call(question.append(name));
        if (!answer)
            return answer.error();
        Value value{};
        if (!answer.value().read(value))
            return Error{std::make_error_code(std::errc::bad_message), method, name};
        return value;
    }

    /// A new call of one of the bus's own methods.
    [[nodiscard]] BusMessage busCall(const char* method);

    /// Sends a call; `onAnswer` is called once with its results or an error, unless the slot is
    /// destroyed first.
    [[nodiscard]] Result<BusSlot> call(BusMessage& message, Handler onAnswer);

    /// Calls `onMatch` for signals of `sender` that match the rest of the rule, once the bus has
    /// accepted it. See sd_bus_add_match(3). The sender is the bus itself or a unique name, and is
    /// checked here: anybody may send any signal to this connection, and a rule with a service's
    /// name lets it through.
    [[nodiscard]] Result<BusSlot> match(const std::string& sender, const std::string& rule,
                                        Handler onMatch);

    /// Registers an object with an interface on the bus. `onCall` receives calls of its methods
    /// whose arguments have the right types. `vtable` must stay valid, like a constant, use
    /// useMethod() as its handler, and describe the complete interface.
    [[nodiscard]] Result<BusSlot> addObject(const std::string& path, const char* interface,
                                            const sd_bus_vtable* vtable, CallHandler onCall);

    /// The handler of every method in a vtable.
    static int useMethod(sd_bus_message* call, void* handler, sd_bus_error*) noexcept;

    /// Calls `onCall` for calls of any method on any path below `prefix`. They are not answered.
    [[nodiscard]] Result<BusSlot> addFallback(const std::string& prefix, Handler onCall);

    [[nodiscard]] Result<> requestName(const std::string& name);

    /// The bus replies only after everything that it had already sent to this connection.
    [[nodiscard]] Result<> releaseName(const std::string& name);

    /// Processes everything that has arrived, without waiting. For use when no loop serves the
    /// connection.
    [[nodiscard]] Result<> processArrived();

  private:
    struct Unref {
        void operator()(sd_bus* bus) const noexcept { ::sd_bus_flush_close_unref(bus); }
    };

    explicit BusConnection(sd_bus* bus) noexcept : bus_{bus} {}

    [[nodiscard]] uid_t owner() const;

    std::unique_ptr<sd_bus, Unref> bus_;
    std::string uniqueName_;
    BusSlot loss_;
};

} // namespace veltra
