#include "logview/table/SeverityIcon.h"

#include "logview/table/PaintedIcon.h"

namespace veltra {

namespace {

QPainterPath ring()
{
    QPainterPath path;
    path.addEllipse(QPointF{8, 8}, 6.5, 6.5);
    return path;
}

// The colours are legible on both white and black.

PaintedIcon errorIcon()
{
    QPainterPath cross;
    cross.moveTo(5.5, 5.5);
    cross.lineTo(10.5, 10.5);
    cross.moveTo(10.5, 5.5);
    cross.lineTo(5.5, 10.5);
    return {.outline = ring(), .mark = cross, .color = {0xDD, 0x33, 0x33}};
}

PaintedIcon warningIcon()
{
    QPainterPath triangle;
    triangle.addPolygon(QPolygonF{{8, 1.5}, {15, 14.5}, {1, 14.5}});
    triangle.closeSubpath();
    QPainterPath exclamation;
    exclamation.moveTo(8, 6);
    exclamation.lineTo(8, 9.5);
    exclamation.moveTo(8, 12);
    exclamation.lineTo(8, 12.2);
    return {.outline = triangle, .mark = exclamation, .color = {0xC7, 0x80, 0x00}};
}

PaintedIcon infoIcon()
{
    QPainterPath letter;
    letter.moveTo(8, 7.5);
    letter.lineTo(8, 11.5);
    letter.moveTo(8, 4.8);
    letter.lineTo(8, 5);
    return {.outline = ring(), .mark = letter, .color = {}};
}

} // namespace

QIcon severityIcon(std::string_view messageType)
{
    static const QIcon error = paintedIcon(errorIcon());
    static const QIcon warning = paintedIcon(warningIcon());
    static const QIcon info = paintedIcon(infoIcon());
    if (messageType == "Error")
        return error;
    if (messageType == "Warning")
        return warning;
    return messageType == "Info" ? info : QIcon{};
}

} // namespace veltra
