#include "logview/SeverityIcon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

namespace veltra {

namespace {

enum class Severity { info, warning, error };

// Each is legible on white and on black alike.
QColor colorOf(Severity severity)
{
    switch (severity) {
    case Severity::error:
        return QColor{0xDD, 0x33, 0x33};
    case Severity::warning:
        return QColor{0xC7, 0x80, 0x00};
    case Severity::info:
        break;
    }
    return QGuiApplication::palette().color(QPalette::PlaceholderText);
}

QPainterPath outlineOf(Severity severity)
{
    QPainterPath path;
    if (severity == Severity::warning) {
        path.addPolygon(QPolygonF{{8, 1.5}, {15, 14.5}, {1, 14.5}});
        path.closeSubpath();
    } else {
        path.addEllipse(QPointF{8, 8}, 6.5, 6.5);
    }
    return path;
}

QPainterPath markOf(Severity severity)
{
    QPainterPath path;
    switch (severity) {
    case Severity::error:
        path.moveTo(5.5, 5.5);
        path.lineTo(10.5, 10.5);
        path.moveTo(10.5, 5.5);
        path.lineTo(5.5, 10.5);
        break;
    case Severity::warning:
        path.moveTo(8, 6);
        path.lineTo(8, 9.5);
        path.moveTo(8, 12);
        path.lineTo(8, 12.2);
        break;
    case Severity::info:
        path.moveTo(8, 7.5);
        path.lineTo(8, 11.5);
        path.moveTo(8, 4.8);
        path.lineTo(8, 5);
        break;
    }
    return path;
}

/// Paints on a grid of 16 by 16.
class SeverityIconEngine : public QIconEngine {
  public:
    explicit SeverityIconEngine(Severity severity) : severity_{severity} {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 16.0, rect.height() / 16.0);
        const QColor color = colorOf(severity_);
        const bool filled = severity_ != Severity::info;
        painter->setPen(QPen{color, 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin});
        painter->setBrush(filled ? QBrush{color} : QBrush{});
        painter->drawPath(outlineOf(severity_));
        painter->setPen(QPen{filled ? QColor{Qt::white} : color, 1.7, Qt::SolidLine, Qt::RoundCap});
        painter->drawPath(markOf(severity_));
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

    [[nodiscard]] QIconEngine* clone() const override { return new SeverityIconEngine{*this}; }

  private:
    Severity severity_;
};

QIcon iconFor(Severity severity)
{
    return QIcon{new SeverityIconEngine{severity}};
}

} // namespace

QIcon severityIcon(std::string_view messageType)
{
    static const QIcon error = iconFor(Severity::error);
    static const QIcon warning = iconFor(Severity::warning);
    static const QIcon info = iconFor(Severity::info);
    if (messageType == "Error")
        return error;
    if (messageType == "Warning")
        return warning;
    return messageType == "Info" ? info : QIcon{};
}

} // namespace veltra
