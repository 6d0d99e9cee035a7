#pragma once

#include <QColor>
#include <QIcon>
#include <QPainterPath>

namespace veltra {

/// A small icon: an outline with a symbol in it, on a grid of 16 by 16.
struct PaintedIcon {
    QPainterPath outline;
    QPainterPath mark;
    /// Fills the outline, with the symbol in white. If invalid, the outline is not filled and both
    /// are drawn in the desktop's current colour for less important text.
    QColor color;
};

/// An icon that is drawn for the size at which it is painted, so that it is sharp on every display.
/// Main thread only.
[[nodiscard]] QIcon paintedIcon(const PaintedIcon& icon);

} // namespace veltra
