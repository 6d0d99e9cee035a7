#pragma once

#include "platform/desktop/SessionBus.h"

#include <QProcess>

#include <functional>
#include <memory>

namespace veltra {

/// Whether the user wants dark windows, from the setting that desktops provide for programs of
/// every toolkit: "color-scheme" of "org.freedesktop.appearance" in the desktop portal's settings.
/// Main thread only.
class DesktopAppearance {
  public:
    enum class ColorScheme { noPreference, dark, light };

    /// Asks the desktop without waiting. Calls `onChange`, which must not throw, with the answer
    /// and again whenever the user changes the setting; never if no desktop answers.
    explicit DesktopAppearance(std::function<void(ColorScheme)> onChange);
    DesktopAppearance(const DesktopAppearance&) = delete;
    DesktopAppearance& operator=(const DesktopAppearance&) = delete;

  private:
    static int settingChanged(sd_bus_message* signal, void* self, sd_bus_error* error) noexcept;
    void ask();
    void take(unsigned scheme) const;

    std::function<void(ColorScheme)> onChange_;
    std::shared_ptr<SessionBus> bus_;
    SessionBus::Match change_;
    QProcess question_;
};

} // namespace veltra
