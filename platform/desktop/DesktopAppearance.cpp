#include "platform/desktop/DesktopAppearance.h"

#include <cstdint>
#include <string_view>
#include <utility>

namespace veltra {

namespace {

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
    ask();
}

// The portal refuses to answer a program whose files in /proc it may not read, as ours may not be
// read. So another program asks.
void DesktopAppearance::ask()
{
    QObject::connect(&question_, &QProcess::finished, &question_, [this](int status) {
        const QByteArray answer = question_.readAllStandardOutput().trimmed();
        bool isNumber = false;
        const unsigned scheme = answer.mid(answer.lastIndexOf(' ') + 1).toUInt(&isNumber);
        if (status == 0 && isNumber)
            take(scheme);
    });
    question_.setStandardErrorFile(QProcess::nullDevice());
    question_.start(QStringLiteral("/usr/bin/dbus-send"),
                    {QStringLiteral("--session"), QStringLiteral("--print-reply=literal"),
                     QStringLiteral("--dest=org.freedesktop.portal.Desktop"),
                     QStringLiteral("/org/freedesktop/portal/desktop"),
                     QStringLiteral("%1.Read").arg(QLatin1String{interface}),
                     QStringLiteral("string:%1").arg(QLatin1String{group}),
                     QStringLiteral("string:%1").arg(QLatin1String{key})});
}

int DesktopAppearance::settingChanged(sd_bus_message* signal, void* self,
                                      sd_bus_error* /*error*/) noexcept
{
    const char* changedGroup = nullptr;
    const char* changedKey = nullptr;
    std::uint32_t scheme = 0;
    if (sd_bus_message_read(signal, "ss", &changedGroup, &changedKey) > 0 &&
        std::string_view{changedGroup} == group && std::string_view{changedKey} == key &&
        sd_bus_message_read(signal, "v", "u", &scheme) > 0)
        static_cast<const DesktopAppearance*>(self)->take(scheme);
    return 0;
}

void DesktopAppearance::take(unsigned scheme) const
{
    onChange_(scheme == 1   ? ColorScheme::dark
              : scheme == 2 ? ColorScheme::light
                            : ColorScheme::noPreference);
}

} // namespace veltra
