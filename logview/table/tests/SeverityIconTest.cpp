#include "logview/table/SeverityIcon.h"

#include "logview/table/tests/MirroredIcon.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPalette>

#include <array>
#include <cstdlib>

#include <gtest/gtest.h>

namespace veltra {
namespace {

constexpr int side = 32;

QImage imageOf(std::string_view messageType, int size = side)
{
    return severityIcon(messageType)
        .pixmap(QSize{size, size}, 1.0)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
}

int coveredPixels(const QImage& image)
{
    int covered = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            covered += qAlpha(image.pixel(x, y)) > 127 ? 1 : 0;
    return covered;
}

// The pixels that only one of them covers: the difference that is visible without colour.
int differentlyCovered(const QImage& one, const QImage& other)
{
    int different = 0;
    for (int y = 0; y < one.height(); ++y)
        for (int x = 0; x < one.width(); ++x)
            different += (qAlpha(one.pixel(x, y)) > 127) != (qAlpha(other.pixel(x, y)) > 127);
    return different;
}

TEST(SeverityIcon, HasAnotherOutlineForEverySeverity)
{
    const std::array images{imageOf("Error"), imageOf("Warning"), imageOf("Info")};

    for (std::size_t i = 0; i < images.size(); ++i)
        EXPECT_GT(differentlyCovered(images[i], images[(i + 1) % images.size()]), side * side / 10);
}

TEST(SeverityIcon, BearsAMarkInsideTheErrorAndTheWarning)
{
    const QImage error = imageOf("Error");
    const QImage warning = imageOf("Warning");

    EXPECT_EQ(error.pixelColor(16, 16).rgb(), QColor{Qt::white}.rgb());
    EXPECT_NE(error.pixelColor(16, 5).rgb(), QColor{Qt::white}.rgb());
    EXPECT_EQ(warning.pixelColor(16, 16).rgb(), QColor{Qt::white}.rgb());
    EXPECT_NE(warning.pixelColor(8, 26).rgb(), QColor{Qt::white}.rgb());
}

TEST(SeverityIcon, LooksTheSameMirrored)
{
    for (const std::string_view severity : {"Error", "Warning", "Info"})
        EXPECT_LT(pixelsChangedByMirroring(severityIcon(severity), Qt::Horizontal), 200)
            << severity;
}

TEST(SeverityIcon, LeavesTheCornersClear)
{
    for (const std::string_view severity : {"Error", "Warning", "Info"}) {
        const QImage image = imageOf(severity);
        EXPECT_GT(coveredPixels(image), side * side / 20) << severity;
        EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << severity;
        EXPECT_EQ(qAlpha(image.pixel(side - 1, 0)), 0) << severity;
    }
}

TEST(SeverityIcon, IsPaintedAfreshAtEverySize)
{
    for (const int size : {8, 16, 48, 200}) {
        const QImage image = imageOf("Error", size);
        EXPECT_EQ(image.size(), QSize(size, size));
        EXPECT_NEAR(coveredPixels(image), size * size * 0.6, size * size * 0.1) << size;
    }
}

TEST(SeverityIcon, StaysInTheRectangleItIsPaintedInto)
{
    QImage image{QSize{64, 64}, QImage::Format_ARGB32};
    image.fill(Qt::transparent);
    QPainter painter{&image};

    severityIcon("Error").paint(&painter, QRect{32, 32, 32, 32});
    painter.end();

    EXPECT_EQ(coveredPixels(image.copy(0, 0, 64, 31)), 0);
    EXPECT_GT(coveredPixels(image.copy(32, 32, 32, 32)), 500);
}

/// The icon as a table paints it, in a square of that many pixels on a display with that many
/// pixels for each of a window's.
QImage paintedOnce(std::string_view messageType, double ratio)
{
    QImage image{QSize{side, side}, QImage::Format_ARGB32};
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(ratio);
    QPainter painter{&image};
    severityIcon(messageType).paint(&painter, QRectF{0, 0, side / ratio, side / ratio}.toRect());
    painter.end();
    return image;
}

TEST(SeverityIcon, IsAsSharpOnEveryDisplay)
{
    for (const double ratio : {1.0, 2.0, 1.0, 4.0})
        EXPECT_EQ(differentlyCovered(paintedOnce("Error", ratio), imageOf("Error")), 0) << ratio;
}

TEST(SeverityIcon, FollowsThePalette)
{
    const QPalette before = QGuiApplication::palette();
    for (const QColor color : {Qt::red, Qt::green, Qt::red}) {
        QPalette palette = before;
        palette.setColor(QPalette::PlaceholderText, color);
        QGuiApplication::setPalette(palette);

        EXPECT_EQ(paintedOnce("Info", 1).pixelColor(16, 20).rgb(), color.rgb());
    }
    QGuiApplication::setPalette(before);
}

TEST(SeverityIcon, IsNoneForOtherMessageTypes)
{
    for (const std::string_view messageType : {"", "info", "INFO", "Errors", "Debug", " Info"})
        EXPECT_TRUE(severityIcon(messageType).isNull()) << messageType;
}

} // namespace
} // namespace veltra
