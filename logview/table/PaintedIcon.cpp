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

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        const bool isFilled = icon_.color.isValid();
        const QColor color =
            isFilled ? icon_.color : QGuiApplication::palette().color(QPalette::PlaceholderText);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 16.0, rect.height() / 16.0);
        painter->setPen(QPen{color, 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin});
        painter->setBrush(isFilled ? QBrush{color} : QBrush{});
        painter->drawPath(icon_.outline);
        painter->setBrush({});
        painter->setPen(QPen{isFilled ? QColor{Qt::white} : color, 1.7, Qt::SolidLine, Qt::RoundCap,
                             Qt::RoundJoin});
        painter->drawPath(icon_.mark);
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap{size};
        pixmap.fill(Qt::transparent);
        QPainter painter{&pixmap};
        paint(&painter, QRect{{}, size}, mode, state);
        return pixmap;
    }

    [[nodiscard]] QIconEngine* clone() const override { return new PaintedIconEngine{*this}; }

  private:
    PaintedIcon icon_;
};

} // namespace

QIcon paintedIcon(const PaintedIcon& icon)
{
    return QIcon{new PaintedIconEngine{icon}};
}

} // namespace veltra
