#pragma once

#include "platform/desktop/DesktopAppearance.h"

#include <QPalette>

namespace veltra {

/// Gives the windows dark colours if the desktop asks for them and Qt has not already done so
/// itself, as it does if a platform theme is installed. Main thread only.
class WindowPalette {
  public:
    /// Follows the desktop's setting from now on. The application object must exist.
    WindowPalette();

    /// The palette for `scheme`: `given`, or dark colours instead.
    [[nodiscard]] static QPalette paletteFor(DesktopAppearance::ColorScheme scheme,
                                             const QPalette& given);

  private:
    QPalette given_;
    DesktopAppearance appearance_;
};

} // namespace veltra
