#include "platform/bus/BusMessage.h"

namespace veltra {

namespace {

std::string_view orEmpty(const char* text) noexcept
{
    return text ? std::string_view{text} : std::string_view{};
}

} // namespace

BusMessage BusMessage::takeOver(sd_bus_message* message)
{
    BusMessage taken;
    taken.message_.reset(message);
    return taken;
}

std::string_view BusMessage::sender() const
{
    return orEmpty(::sd_bus_message_get_sender(handle()));
}

std::string_view BusMessage::path() const
{
    return orEmpty(::sd_bus_message_get_path(handle()));
}

std::string_view BusMessage::interface() const
{
    return orEmpty(::sd_bus_message_get_interface(handle()));
}

std::string_view BusMessage::member() const
{
    return orEmpty(::sd_bus_message_get_member(handle()));
}

std::optional<BusError> BusMessage::error() const
{
    const sd_bus_error* const error = ::sd_bus_message_get_error(handle());
    if (!error)
        return std::nullopt;
    return BusError{error->name, std::string{orEmpty(error->message)}};
}

} // namespace veltra
