// The two texts about the agent: its version and its management server.

#include "app/tests/TableController.h"

#include <future>

namespace veltra {
namespace {

class AgentInformationLineTest : public TableControllerTest {
  protected:
    AgentInformationLineTest()
    {
        version.setText(QStringLiteral("version as before"));
        server.setText(QStringLiteral("server as before"));
        VXStatusTableVC& controller = make();
        controller.setVersionlabel(&version);
        controller.setZelServerIpLabel(&server);
    }

    void tell(const std::string& output)
    {
        helper().connection().app().logWithStdOut(output);
        turn();
    }

    QLabel version;
    QLabel server;
};

TEST_F(AgentInformationLineTest, ShowsVersionAndServer)
{
    tell("AgentMode: 1\nZelServerLastUsed: 10.0.0.5\nVersion: 5.7.1\n");

    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION 5.7.1"));
    // There is no catalogue here, so the text of a key is the key itself.
    EXPECT_EQ(server.text(), QStringLiteral("Zel Server IP 10.0.0.5"));
}

TEST_F(AgentInformationLineTest, ShowsNoServerInAnotherMode)
{
    for (const char* const mode : {"AgentMode: 0\n", "AgentMode: 3\n", ""}) {
        server.setText(QStringLiteral("before"));

        tell(std::string{mode} + "ZelServerLastUsed: 10.0.0.5\nVersion: 5.7.1");

        EXPECT_EQ(server.text(), QString{}) << mode;
        EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION 5.7.1"));
    }
}

TEST_F(AgentInformationLineTest, ShowsANullObjectForWhatIsMissing)
{
    tell("AgentMode: 2\n");

    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION (null)"));
    EXPECT_EQ(server.text(), QStringLiteral("Zel Server IP (null)"));
}

TEST_F(AgentInformationLineTest, TakesAPlaceholderInAValueForText)
{
    tell("AgentMode: 1\nZelServerLastUsed: %@ %1\nVersion: %@");

    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION %@"));
    EXPECT_EQ(server.text(), QStringLiteral("Zel Server IP %@ %1"));
}

TEST_F(AgentInformationLineTest, StaysAndLogsWhenNothingCanBeRead)
{
    tell("no pair in sight\nVersion:5.7\n");

    EXPECT_EQ(version.text(), QStringLiteral("version as before"));
    EXPECT_EQ(server.text(), QStringLiteral("server as before"));
    const auto complaints = log().complaints();
    EXPECT_EQ(std::ranges::count(complaints, "Not able to fetch Zel server IP and VX Version"), 1);
}

TEST_F(AgentInformationLineTest, IsRebuiltByEveryPieceOfOutput)
{
    tell("Version: 1\nAgentMode: 1\nZelServerLastUsed: a");
    tell("Version: 2\n");

    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION 2"));
    EXPECT_EQ(server.text(), QString{});
}

TEST_F(AgentInformationLineTest, IsReadOnTheThreadOfTheNotificationAndShownOnTheMainThread)
{
    EXPECT_TRUE(runOnWorker(
        [this] { helper().connection().app().logWithStdOut("Version: from a worker"); }));
    turn();

    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION from a worker"));
}

TEST_F(AgentInformationLineTest, ChangesLaterAndIsNotWaitedFor)
{
    auto telling = std::async(std::launch::async, [this] {
        helper().connection().app().logWithStdOut("Version: of later");
    });

    const auto told = telling.wait_for(std::chrono::minutes{1});
    const QString before = version.text();
    turn();

    EXPECT_EQ(told, std::future_status::ready);
    EXPECT_EQ(before, QStringLiteral("version as before"));
    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION of later"));
}

} // namespace
} // namespace veltra
