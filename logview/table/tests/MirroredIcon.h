#pragma once

#include <QIcon>
#include <QImage>

#include <cstdlib>

namespace veltra {

/// How many of the pixels of a picture of `icon`, 1600 pixels wide, are clearly different from
/// those of its mirror image. A few are even if the icon is symmetric.
[[nodiscard]] inline int pixelsChangedByMirroring(const QIcon& icon, Qt::Orientation direction)
{
    const QImage image = icon.pixmap(QSize{1600, 1600}, 1.0).toImage();
    const QImage mirrored = image.mirrored(direction == Qt::Horizontal, direction == Qt::Vertical);
    const auto differs = [](int one, int other) { return std::abs(one - other) > 127; };
    int changed = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb one = image.pixel(x, y);
            const QRgb other = mirrored.pixel(x, y);
            changed += differs(qAlpha(one), qAlpha(other)) || differs(qRed(one), qRed(other));
        }
    return changed;
}

} // namespace veltra
