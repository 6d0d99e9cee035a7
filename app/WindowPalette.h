#pragma once

#include "platform/desktop/DesktopAppearance.h"

#include <QPalette>

namespace veltra {

/// Gives the windows dark colours when the desktop asks for them and Qt has not followed it by
/// itself, as it does where a platform theme is installed. Main thread only.
class WindowPalette {
  public:
    /// Follows the desktop from now on. The application object must exist.
    WindowPalette();

    /// What the windows look like under `scheme`: `given`, or dark colours in its place.
    [[nodiscard]] static QPalette paletteFor(DesktopAppearance::ColorScheme scheme,
                                             const QPalette& given);

  private:
    QPalette given_;
    DesktopAppearance appearance_;
};

} // namespace veltra
