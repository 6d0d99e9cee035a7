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

/// Keeps something registered at a connection: a match, an object, or who waits for an answer. With
/// it goes the handler. Move-only; may outlive the connection, on whose thread it belongs.
class [[nodiscard]] BusSlot {
  public:
    BusSlot() = default;
    explicit BusSlot(sd_bus_slot* slot) noexcept : slot_{slot} {}

    /// Leaves the registration to the connection: until the answer has come, or for good.
    void detach();

  private:
    struct Unref {
        void operator()(sd_bus_slot* slot) const noexcept { ::sd_bus_slot_unref(slot); }
    };
    std::unique_ptr<sd_bus_slot, Unref> slot_;
};

/// A call of a method of ours. It is answered once: by what is given, or else, when the last who
/// knows of it has let go of it, by an error.
class BusCall {
  public:
    explicit BusCall(BusMessage call) : call_{std::move(call)} {}
    BusCall(BusCall&&) noexcept = default;
    BusCall& operator=(BusCall&&) = delete;
    BusCall(const BusCall&) = delete;
    BusCall& operator=(const BusCall&) = delete;
    ~BusCall();

    [[nodiscard]] BusMessage& message() noexcept { return call_; }

    // Who has left the bus is not told.
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

/// A connection to the D-Bus system bus. Everything about it belongs on one thread: that of the
/// loop that serves it, or of whoever makes calls on it and waits. See sd-bus(3).
///
/// The bus is looked for at its fixed address and nowhere else: an environment variable must not
/// be able to lead a trusted program to a bus of somebody else's.
class BusConnection {
  public:
    using Handler = std::function<void(BusMessage&)>;
    using CallHandler = std::function<void(BusCall)>;
    using Patience = std::chrono::microseconds;
    static constexpr Patience forEver = Patience::max();

    /// Connects, which takes a round trip or two.
    [[nodiscard]] static Result<std::unique_ptr<BusConnection>> open();

    /// Connects to another bus, one of a test's own for example.
    [[nodiscard]] static Result<std::unique_ptr<BusConnection>> openAt(const std::string& address);

    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    ~BusConnection();

    /// The name that the bus gave this connection, ":1.42" say.
    [[nodiscard]] const std::string& uniqueName() const noexcept { return uniqueName_; }

    /// Has `loop`, which must outlive the connection, serve it from now on.
    [[nodiscard]] Result<> serveOn(EventLoop& loop);

    /// Called once by the loop when the bus has gone away, after all that waited for an answer got
    /// an error. The connection must be kept until the call has returned.
    void setLossHandler(std::function<void()> onLoss);

    /// Whether something that was sent waits for the bus to take it.
    [[nodiscard]] bool isSending() const;

    /// A call that is still to be given its arguments and sent.
    [[nodiscard]] BusMessage methodCall(const std::string& service, const std::string& path,
                                        const std::string& interface, const std::string& method);

    /// Sends without wanting an answer.
    Result<> send(BusMessage& message);

    /// Sends a call and waits for its results. An error's code is what sd-bus-errors(3) says of its
    /// name: ENXIO for a name that nobody owns, for example.
    [[nodiscard]] Result<BusMessage> call(BusMessage& message, Patience patience = forEver);

    /// Sends a call; `onAnswer` is called once with its results or an error, unless the slot is let
    /// go of before.
    [[nodiscard]] Result<BusSlot> call(BusMessage& message, Handler onAnswer);

    /// Calls `onMatch` for what fits the rule, once the bus has agreed. See sd_bus_add_match(3).
    /// A rule cannot tell who sends: anybody may send anything to this connection.
    [[nodiscard]] Result<BusSlot> match(const std::string& rule, Handler onMatch);

    /// Puts an object with an interface on the bus. `onCall` gets calls of its methods with
    /// arguments that fit. `vtable` must stay, as a constant does, have useMethod() as its handler,
    /// and be all of the interface.
    [[nodiscard]] Result<BusSlot> addObject(const std::string& path, const char* interface,
                                            const sd_bus_vtable* vtable, CallHandler onCall);

    /// The handler of every method in a vtable.
    static int useMethod(sd_bus_message* call, void* handler, sd_bus_error*) noexcept;

    /// Calls `onCall` for calls of any method at any path below `prefix`. Nothing is answered.
    [[nodiscard]] Result<BusSlot> addFallback(const std::string& prefix, Handler onCall);

    [[nodiscard]] Result<> requestName(const std::string& name);

    /// The bus answers after all that it had sent here by then.
    [[nodiscard]] Result<> releaseName(const std::string& name);

    /// Deals with all that has arrived, without waiting. For when no loop does so any more.
    [[nodiscard]] Result<> processArrived();

  private:
    struct Unref {
        void operator()(sd_bus* bus) const noexcept { ::sd_bus_flush_close_unref(bus); }
    };

    explicit BusConnection(sd_bus* bus) noexcept : bus_{bus} {}

    std::unique_ptr<sd_bus, Unref> bus_;
    std::string uniqueName_;
    BusSlot loss_;
};

} // namespace veltra
