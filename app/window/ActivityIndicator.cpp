#include "app/window/ActivityIndicator.h"

#include <QPainter>
#include <QStyle>

#include <chrono>
#include <utility>

namespace veltra {

namespace {

using namespace std::chrono_literals;

// Reading a few new lines is faster than this, so no spinner appears.
constexpr auto patience = 300ms;
constexpr auto stepInterval = 100ms;
constexpr int spokes = 10;

} // namespace

ActivityIndicator::ActivityIndicator(QWidget* parent) : QWidget{parent}
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(&step_, &QTimer::timeout, this, &ActivityIndicator::advance);
}

void ActivityIndicator::startAnimation()
{
    if (!step_.isActive())
        step_.start(patience);
}

void ActivityIndicator::stopAnimation()
{
    step_.stop();
    if (std::exchange(shownStep_, 0) > 0)
        update();
}

QSize ActivityIndicator::sizeHint() const
{
    const int side = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    return {side, side};
}

void ActivityIndicator::advance()
{
    step_.setInterval(stepInterval);
    ++shownStep_;
    update();
}

void ActivityIndicator::paintEvent(QPaintEvent* /*event*/)
{
    if (shownStep_ == 0)
        return;
    QPainter painter{this};
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(width() / 2.0, height() / 2.0);
    painter.scale(width() / 20.0, height() / 20.0);
    painter.rotate(360.0 / spokes * shownStep_);
    QColor color = palette().color(QPalette::WindowText);
    for (int spoke = 1; spoke <= spokes; ++spoke) {
        color.setAlphaF(static_cast<float>(spoke) / spokes);
        painter.setPen(QPen{color, 1.8, Qt::SolidLine, Qt::RoundCap});
        painter.rotate(360.0 / spokes);
        painter.drawLine(QPointF{0, -5}, QPointF{0, -8.5});
    }
}

} // namespace veltra
