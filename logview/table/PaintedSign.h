#pragma once

#include <QColor>
#include <QIcon>
#include <QPainterPath>

namespace veltra {

/// A small sign: an outline with a mark in it, on a grid of 16 by 16.
struct PaintedSign {
    QPainterPath outline;
    QPainterPath mark;
    /// Fills the outline, with the mark in white. An invalid one leaves the outline empty and
    /// draws both in the colour of the desktop's quiet text, whatever that is at the time.
    QColor color;
};

/// An icon that is painted afresh at every size, so that it is crisp on every display.
/// Main thread only.
[[nodiscard]] QIcon paintedIcon(const PaintedSign& sign);

} // namespace veltra
