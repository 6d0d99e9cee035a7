#include "app/window/AgentStateIcon.h"

#include "logview/table/PaintedIcon.h"

namespace veltra {

namespace {

PaintedIcon runningIcon()
{
    QPainterPath disc;
    disc.addEllipse(QPointF{8, 8}, 6.5, 6.5);
    QPainterPath tick;
    tick.moveTo(5, 8.3);
    tick.lineTo(7.2, 10.5);
    tick.lineTo(11.2, 5.8);
    return {.outline = disc, .mark = tick, .color = {0x1F, 0x8F, 0x45}};
}

PaintedIcon downIcon()
{
    QPainterPath octagon;
    octagon.addPolygon(QPolygonF{{5.2, 1.5},
                                 {10.8, 1.5},
                                 {14.5, 5.2},
                                 {14.5, 10.8},
                                 {10.8, 14.5},
                                 {5.2, 14.5},
                                 {1.5, 10.8},
                                 {1.5, 5.2}});
    octagon.closeSubpath();
    QPainterPath bar;
    bar.moveTo(5, 8);
    bar.lineTo(11, 8);
    return {.outline = octagon, .mark = bar, .color = {0xC6, 0x28, 0x28}};
}

} // namespace

QIcon agentStateIcon(AgentState state)
{
    static const QIcon running = paintedIcon(runningIcon());
    static const QIcon down = paintedIcon(downIcon());
    return state == AgentState::running ? running : down;
}

} // namespace veltra
