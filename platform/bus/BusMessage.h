#pragma once

#include "platform/bus/BusTypes.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <systemd/sd-bus.h>

namespace veltra {

/// An error as it is sent over the bus.
struct BusError {
    std::string name;
    std::string message;
};

/// A message on the bus, shared with the library: a call, a reply or a signal. Use it on the thread
/// of its connection. See sd-bus(3).
class BusMessage {
  public:
    BusMessage() = default;

    /// Takes a new reference to `message`, which may be null.
    explicit BusMessage(sd_bus_message* message) : message_{::sd_bus_message_ref(message)} {}

    /// Takes over the caller's reference to `message`, which may be null.
    [[nodiscard]] static BusMessage takeOver(sd_bus_message* message);

    [[nodiscard]] sd_bus_message* handle() const noexcept { return message_.get(); }

    // Empty if the message does not contain it. The texts are valid as long as the message.
    [[nodiscard]] std::string_view sender() const;
    [[nodiscard]] std::string_view path() const;
    [[nodiscard]] std::string_view interface() const;
    [[nodiscard]] std::string_view member() const;

    /// The error that a reply contains instead of results; empty if it contains results.
    [[nodiscard]] std::optional<BusError> error() const;

    /// Reads the whole content; may be called once. Returns false if it does not have exactly these
    /// types; see BusTypes.h.
    template <typename... Values>
    [[nodiscard]] bool read(Values&... values)
    {
        const std::string signature = (std::string{} + ... + BusType<Values>::signature());
        return ::sd_bus_message_has_signature(handle(), signature.c_str()) > 0 &&
               (BusType<Values>::read(handle(), values) && ...);
    }

    /// Appends to the content. If something cannot be appended, such as an invalid path, sending
    /// will fail.
    template <typename... Values>
    BusMessage& append(const Values&... values)
    {
        isWhole_ = isWhole_ && (BusType<Values>::append(handle(), values) && ...);
        return *this;
    }

    /// Whether everything was appended successfully.
    [[nodiscard]] bool isWhole() const noexcept { return isWhole_; }

  private:
    struct Unref {
        void operator()(sd_bus_message* message) const noexcept { ::sd_bus_message_unref(message); }
    };

    std::unique_ptr<sd_bus_message, Unref> message_;
    bool isWhole_ = true;
};

} // namespace veltra
