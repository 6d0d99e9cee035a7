#pragma once

#include "platform/bus/BusTypes.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <systemd/sd-bus.h>

namespace veltra {

/// An error as the bus carries it.
struct BusError {
    std::string name;
    std::string message;
};

/// A message on the bus, shared with the library: a call, an answer or a signal. It belongs on the
/// thread of its connection. See sd-bus(3).
class BusMessage {
  public:
    BusMessage() = default;

    /// Shares `message`, which may be null.
    explicit BusMessage(sd_bus_message* message) : message_{::sd_bus_message_ref(message)} {}

    /// Takes over the caller's share of `message`, which may be null.
    [[nodiscard]] static BusMessage takeOver(sd_bus_message* message);

    [[nodiscard]] sd_bus_message* handle() const noexcept { return message_.get(); }

    // What is not in the message is empty. The texts last as long as the message.
    [[nodiscard]] std::string_view sender() const;
    [[nodiscard]] std::string_view path() const;
    [[nodiscard]] std::string_view interface() const;
    [[nodiscard]] std::string_view member() const;

    /// What an answer brings in the place of results; none when it brings results.
    [[nodiscard]] std::optional<BusError> error() const;

    /// Reads the whole content, once. False when it is not exactly of these types; see BusTypes.h.
    template <typename... Values>
    [[nodiscard]] bool read(Values&... values)
    {
        const std::string signature = (std::string{} + ... + BusType<Values>::signature());
        return ::sd_bus_message_has_signature(handle(), signature.c_str()) > 0 &&
               (BusType<Values>::read(handle(), values) && ...);
    }

    /// Adds to the content. What cannot be added, a path that is none for example, makes the
    /// sending fail.
    template <typename... Values>
    BusMessage& append(const Values&... values)
    {
        isWhole_ = isWhole_ && (BusType<Values>::append(handle(), values) && ...);
        return *this;
    }

    /// Whether all that was added found its place.
    [[nodiscard]] bool isWhole() const noexcept { return isWhole_; }

  private:
    struct Unref {
        void operator()(sd_bus_message* message) const noexcept { ::sd_bus_message_unref(message); }
    };

    std::unique_ptr<sd_bus_message, Unref> message_;
    bool isWhole_ = true;
};

} // namespace veltra
