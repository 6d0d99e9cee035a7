#include "logview/table/PaintedIcon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>

namespace veltra {

namespace {

class PaintedIconEngine : public QIconEngine {
  public:
    explicit PaintedIconEngine(PaintedIcon icon) : icon_{std::move(icon)} {}

    // Drawing paths takes longer than all else about a table's row, and rows come fast.
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        const qreal ratio = painter->device()->devicePixelRatio();
        const QSize size = (QSizeF{rect.size()} * ratio).toSize();
        if (painted_.size() != size || paintedColor_ != color()) {
            painted_ = picture(size);
            paintedColor_ = color();
        }
        painted_.setDevicePixelRatio(ratio);
        painter->drawPixmap(rect.topLeft(), painted_);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override { return picture(size); }

    [[nodiscard]] QIconEngine* clone() const override { return new PaintedIconEngine{*this}; }

  private:
    [[nodiscard]] bool isFilled() const { return icon_.color.isValid(); }

    [[nodiscard]] QColor color() const
    {
        return isFilled() ? icon_.color
                          : QGuiApplication::palette().color(QPalette::PlaceholderText);
    }

    [[nodiscard]] QPixmap picture(const QSize& size) const
    {
        QPixmap pixmap{size};
        pixmap.fill(Qt::transparent);
        QPainter painter{&pixmap};
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size.width() / 16.0, size.height() / 16.0);
        painter.setPen(QPen{color(), 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin});
        painter.setBrush(isFilled() ? QBrush{color()} : QBrush{});
        painter.drawPath(icon_.outline);
        painter.setBrush({});
        painter.setPen(QPen{isFilled() ? QColor{Qt::white} : color(), 1.7, Qt::SolidLine,
                            Qt::RoundCap, Qt::RoundJoin});
        painter.drawPath(icon_.mark);
        return pixmap;
    }

    PaintedIcon icon_;
    // What was painted last, and with which colour.
    QPixmap painted_;
    QColor paintedColor_;
};

} // namespace

QIcon paintedIcon(const PaintedIcon& icon)
{
    return QIcon{new PaintedIconEngine{icon}};
}

} // namespace veltra
