#include "app/window/AgentStateIcon.h"

#include <QImage>

#include <gtest/gtest.h>

namespace veltra {
namespace {

QImage imageOf(AgentState state, int size = 32)
{
    return agentStateIcon(state).pixmap(QSize{size, size}, 1.0).toImage();
}

QColor at(const QImage& image, int x, int y)
{
    return image.pixelColor(x, y);
}

TEST(AgentStateIcon, IsGreenForRunningAndRedForDown)
{
    const QColor running = at(imageOf(AgentState::running), 16, 6);
    const QColor down = at(imageOf(AgentState::down), 16, 6);

    EXPECT_GT(running.green(), 2 * running.red());
    EXPECT_GT(down.red(), 2 * down.green());
}

// Seen without colour: a tick leaves the upper left empty, and a bar is horizontal.
TEST(AgentStateIcon, BearsATickForRunningAndABarForDown)
{
    const QImage running = imageOf(AgentState::running);
    const QImage down = imageOf(AgentState::down);

    EXPECT_EQ(at(running, 21, 13), QColor{Qt::white});
    EXPECT_NE(at(running, 11, 12), QColor{Qt::white});
    EXPECT_EQ(at(down, 11, 16), QColor{Qt::white});
    EXPECT_EQ(at(down, 21, 16), QColor{Qt::white});
    EXPECT_NE(at(down, 21, 12), QColor{Qt::white});
}

// The octagon has corners where the disc is round.
TEST(AgentStateIcon, HasAnotherOutlineForEveryState)
{
    const QImage running = imageOf(AgentState::running, 160);
    const QImage down = imageOf(AgentState::down, 160);

    EXPECT_LT(at(running, 110, 10).alpha(), 128);
    EXPECT_GT(at(down, 110, 10).alpha(), 128);
}

} // namespace
} // namespace veltra
