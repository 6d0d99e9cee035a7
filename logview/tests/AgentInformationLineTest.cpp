// The two texts about the agent: its version and its management server.

#include "logview/tests/TableController.h"

namespace veltra {
namespace {

class AgentInformationLineTest : public TableControllerTest {
  protected:
    AgentInformationLineTest()
    {
        version.setText(u"version as before"_qs);
        server.setText(u"server as before"_qs);
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

    EXPECT_EQ(version.text(), u"Veltra Agent VERSION 5.7.1"_qs);
    // The text of that key is the key itself here.
    EXPECT_EQ(server.text(), u"Zel Server IP 10.0.0.5"_qs);
}

TEST_F(AgentInformationLineTest, ShowsNoServerInAnotherMode)
{
    for (const char* const mode : {"AgentMode: 0\n", "AgentMode: 3\n", ""}) {
        server.setText(u"before"_qs);

        tell(std::string{mode} + "ZelServerLastUsed: 10.0.0.5\nVersion: 5.7.1");

        EXPECT_EQ(server.text(), QString{}) << mode;
        EXPECT_EQ(version.text(), u"Veltra Agent VERSION 5.7.1"_qs);
    }
}

TEST_F(AgentInformationLineTest, ShowsANullObjectForWhatIsMissing)
{
    tell("AgentMode: 2\n");

    EXPECT_EQ(version.text(), u"Veltra Agent VERSION (null)"_qs);
    EXPECT_EQ(server.text(), u"Zel Server IP (null)"_qs);
}

TEST_F(AgentInformationLineTest, TakesAPlaceholderInAValueForText)
{
    tell("AgentMode: 1\nZelServerLastUsed: %@ %1\nVersion: %@");

    EXPECT_EQ(version.text(), u"Veltra Agent VERSION %@"_qs);
    EXPECT_EQ(server.text(), u"Zel Server IP %@ %1"_qs);
}

TEST_F(AgentInformationLineTest, StaysAndLogsWhenNothingCanBeRead)
{
    tell("no pair in sight\nVersion:5.7\n");

    EXPECT_EQ(version.text(), u"version as before"_qs);
    EXPECT_EQ(server.text(), u"server as before"_qs);
    const auto complaints = log().complaints();
    EXPECT_EQ(std::ranges::count(complaints, "Not able to fetch Zel server IP and VX Version"), 1);
}

TEST_F(AgentInformationLineTest, IsRebuiltByEveryPieceOfOutput)
{
    tell("Version: 1\nAgentMode: 1\nZelServerLastUsed: a");
    tell("Version: 2\n");

    EXPECT_EQ(version.text(), u"Veltra Agent VERSION 2"_qs);
    EXPECT_EQ(server.text(), QString{});
}

TEST_F(AgentInformationLineTest, IsReadOnTheThreadOfTheNotificationAndShownOnTheMainThread)
{
    EXPECT_TRUE(runOnWorker(
        [this] { helper().connection().app().logWithStdOut("Version: from a worker"); }));
    turn();

    EXPECT_EQ(version.text(), u"Veltra Agent VERSION from a worker"_qs);
}

} // namespace
} // namespace veltra
