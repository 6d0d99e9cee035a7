#include "platform/desktop/DesktopAppearance.h"

#include <cstdint>
#include <string_view>
#include <utility>

namespace veltra {

namespace {

constexpr const char* service = "org.freedesktop.portal.Desktop";
constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* interface = "org.freedesktop.portal.Settings";
constexpr const char* group = "org.freedesktop.appearance";
constexpr const char* key = "color-scheme";

} // namespace

DesktopAppearance::DesktopAppearance(std::function<void(ColorScheme)> onChange)
    : onChange_{std::move(onChange)}, bus_{SessionBus::connection()}
{
    if (!bus_)
        return;
    change_ = bus_->match(interface, "SettingChanged", &settingChanged, this);
    answer_ = bus_->call({service, path, interface, "Read"}, {group, key}, &answered, this);
}

int DesktopAppearance::answered(sd_bus_message* answer, void* self,
                                sd_bus_error* /*error*/) noexcept
{
    if (sd_bus_message_is_method_error(answer, nullptr) == 0)
        static_cast<const DesktopAppearance*>(self)->take(answer);
    return 0;
}

int DesktopAppearance::settingChanged(sd_bus_message* signal, void* self,
                                      sd_bus_error* /*error*/) noexcept
{
    const char* changedGroup = nullptr;
    const char* changedKey = nullptr;
    if (sd_bus_message_read(signal, "ss", &changedGroup, &changedKey) > 0 &&
        std::string_view{changedGroup} == group && std::string_view{changedKey} == key)
        static_cast<const DesktopAppearance*>(self)->take(signal);
    return 0;
}

// The value is a number in a variant; in the reply that variant is inside another.
void DesktopAppearance::take(sd_bus_message* message) const
{
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) > 0 && type == SD_BUS_TYPE_VARIANT &&
        std::string_view{contents} == "v")
        sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, contents);
    std::uint32_t scheme = 0;
    if (sd_bus_message_read(message, "v", "u", &scheme) <= 0)
        return;
    onChange_(scheme == 1   ? ColorScheme::dark
              : scheme == 2 ? ColorScheme::light
                            : ColorScheme::noPreference);
}

} // namespace veltra
