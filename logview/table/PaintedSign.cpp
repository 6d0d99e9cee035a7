#include "logview/table/PaintedSign.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>

namespace veltra {

namespace {

class SignEngine : public QIconEngine {
  public:
    explicit SignEngine(PaintedSign sign) : sign_{std::move(sign)} {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        const bool isFilled = sign_.color.isValid();
        const QColor color =
            isFilled ? sign_.color : QGuiApplication::palette().color(QPalette::PlaceholderText);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 16.0, rect.height() / 16.0);
        painter->setPen(QPen{color, 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin});
        painter->setBrush(isFilled ? QBrush{color} : QBrush{});
        painter->drawPath(sign_.outline);
        painter->setBrush({});
        painter->setPen(QPen{isFilled ? QColor{Qt::white} : color, 1.7, Qt::SolidLine, Qt::RoundCap,
                             Qt::RoundJoin});
        painter->drawPath(sign_.mark);
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

    [[nodiscard]] QIconEngine* clone() const override { return new SignEngine{*this}; }

  private:
    PaintedSign sign_;
};

} // namespace

QIcon paintedIcon(const PaintedSign& sign)
{
    return QIcon{new SignEngine{sign}};
}

} // namespace veltra
