// What the table controller shows of the agent service: a text and an image.

#include "app/tests/TableController.h"
#include "app/window/AgentStateIcon.h"
#include "logview/table/tests/MirroredIcon.h"
#include "platform/base/tests/SleepingProcess.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace veltra {
namespace {

const QString runningText = QStringLiteral("AGENT_SERVICE_RUNNING");
const QString downText = QStringLiteral("AGENT_SERVICE_SHUTTING");

class AgentStatusTest : public TableControllerTest {
  protected:
    void startWithOutlets()
    {
        VXStatusTableVC& controller = start();
        controller.setLabel(&label_);
        controller.setStatusImg(&image_);
        controller.awakeFromNib();
    }

    void setAgent(const SleepingProcess& agent) const { setAgentPid(std::to_string(agent.pid())); }
    bool waitForText(const QString& text) const
    {
        return runLoopUntil([&] { return label_.text() == text; });
    }
    // Whether this process holds a descriptor of it.
    static bool isWatched(const SleepingProcess& process)
    {
        const std::string expected = "Pid:\t" + std::to_string(process.pid());
        for (const auto& entry : std::filesystem::directory_iterator{"/proc/self/fdinfo"}) {
            std::ifstream information{entry.path()};
            for (std::string line; std::getline(information, line);)
                if (line == expected)
                    return true;
        }
        return false;
    }
    bool isShown(AgentState state) const
    {
        const QPixmap expected = agentStateIcon(state).pixmap(QSize{24, 24}, 1.0);
        return image_.pixmap(Qt::ReturnByValue).toImage() == expected.toImage();
    }

  private:
    QLabel label_;
    QLabel image_;
};

TEST_F(AgentStatusTest, IsRunningWhenTheServiceIsFoundAtStart)
{
    const SleepingProcess agent{service()};
    setAgent(agent);

    startWithOutlets();

    EXPECT_TRUE(waitForText(runningText));
    EXPECT_TRUE(isShown(AgentState::running));
}

TEST_F(AgentStatusTest, IsDownWhenTheServiceIsNotFoundAtStart)
{
    startWithOutlets();

    EXPECT_TRUE(waitForText(downText));
    EXPECT_TRUE(isShown(AgentState::down));
}

TEST_F(AgentStatusTest, TurnsWithTheServiceTextAndImageTogether)
{
    SleepingProcess agent{service()};
    setAgent(agent);
    startWithOutlets();
    EXPECT_TRUE(waitForText(runningText));

    setAgentPid("");
    agent.killAndReap();
    EXPECT_TRUE(waitForText(downText));
    EXPECT_TRUE(isShown(AgentState::down));
    const SleepingProcess again{service()};
    setAgent(again);
    EXPECT_TRUE(waitForText(runningText));

    EXPECT_TRUE(isShown(AgentState::running));
}

TEST_F(AgentStatusTest, NeedsNoOutlets)
{
    SleepingProcess agent{service()};
    setAgent(agent);
    start().awakeFromNib();
    EXPECT_TRUE(runLoopUntil([&] { return isWatched(agent); }));

    agent.killAndReap();

    const std::string message = "terminated " + std::to_string(agent.pid());
    EXPECT_TRUE(runLoopUntil([&] { return std::ranges::count(log().complaints(), message) == 1; }));
}

TEST(AgentStateIcon, LooksTheSameMirroredWhenTheServiceIsDown)
{
    const QIcon icon = agentStateIcon(AgentState::down);

    EXPECT_LT(pixelsChangedByMirroring(icon, Qt::Horizontal), 200);
    EXPECT_LT(pixelsChangedByMirroring(icon, Qt::Vertical), 200);
}

} // namespace
} // namespace veltra
