// What an ordinary user can do through pkexec, and what an administrator is asked first.
#include "tests/installation/InstallationTesting.h"
#include "tests/installation/ScriptedAgent.h"

using namespace veltra;

namespace {

using Answer = ScriptedAgent::Answer;

/// A user's program that starts the tool.
class PkexecProgram : public ClientProgram {
  public:
    explicit PkexecProgram(const std::string& words)
        : ClientProgram{asNobody({"env", "-i", "LANG=C.UTF-8", "PATH=/usr/bin:/bin", "sh", "-c",
                                  "echo ready; read go; pkexec --disable-internal-agent " + words +
                                      " 2>&1; echo status $?"})}
    {
        EXPECT_EQ(line(), "ready");
    }

    /// Everything that it prints from then on.
    std::string go()
    {
        tell("go");
        std::string all;
        for (std::string next = line(); !next.starts_with('<'); next = line())
            all += next + "\n";
        return all;
    }
};

struct Asked {
    std::string verb;
    std::string action;
    std::string message;

    friend void PrintTo(const Asked& asked, std::ostream* out) { *out << asked.verb; }
};

class PkexecVerb : public testing::TestWithParam<Asked> {};

} // namespace

TEST_P(PkexecVerb, IsAnActionOfItsOwn)
{
    PkexecProgram program{adminTool + " " + GetParam().verb};
    const ScriptedAgent agent{program.pid(), Answer::authenticate};

    EXPECT_EQ(program.go(), "status 0\n");

    EXPECT_EQ(agent.questions(), (std::vector{GetParam().action + ": " + GetParam().message}));
}

INSTANTIATE_TEST_SUITE_P(
    All, PkexecVerb,
    testing::Values(
        Asked{"bless", "com.apple.ServiceManagement.blesshelper",
              "Veltra Agent Status Monitor is trying to install a new helper tool."},
        Asked{"add-right", "com.veltra.agentMonitor.admin.add-right",
              "Authentication is required to register the rights of the agent monitor."},
        Asked{"change-right", "com.veltra.agentMonitor.admin.change-right",
              "Authentication is required to change the rights of the agent monitor."},
        Asked{"remove", "com.veltra.agentMonitor.admin.remove",
              "Authentication is required to remove the helper and the rights of the agent "
              "monitor."}),
    [](const auto& verb) { return std::to_string(verb.index); });

TEST(Pkexec, InstallsAHelperThatStarts)
{
    PkexecProgram program{adminTool + " bless"};
    const ScriptedAgent agent{program.pid(), Answer::authenticate};

    EXPECT_EQ(program.go(), "status 0\n");

    EXPECT_TRUE(isBundledHelperInstalled());
    EXPECT_EQ(programOf(startHelper()), helperPath);
}

TEST(Pkexec, InstallsNothingWhenTheQuestionIsDismissed)
{
    PkexecProgram program{adminTool + " bless"};
    const ScriptedAgent agent{program.pid(), Answer::dismiss};

    EXPECT_NE(program.go().find("status 126\n"), std::string::npos);

    EXPECT_EQ(agent.questions().size(), 1U);
    EXPECT_EQ(installedFiles(), std::set<std::string>{});
}

TEST(Pkexec, InstallsNothingWhereNobodyCanBeAsked)
{
    PkexecProgram program{adminTool + " bless"};

    EXPECT_NE(program.go().find("status 127\n"), std::string::npos);

    EXPECT_EQ(installedFiles(), std::set<std::string>{});
}

TEST(Pkexec, IsRefusedAnUnknownVerbByTheToolItself)
{
    PkexecProgram program{adminTool + " grant"};
    const ScriptedAgent agent{program.pid(), Answer::authenticate};

    EXPECT_NE(program.go().find("status 64\n"), std::string::npos);

    EXPECT_TRUE(agent.questions().at(0).starts_with("org.freedesktop.policykit.exec: "));
}

TEST(Pkexec, IsNotAskedForAnAdministratorByWhoAddsARightAtTheMachine)
{
    const auto actions = monitorActions();
    const std::string prefix = "com.veltra.agentMonitor.admin.";

    EXPECT_EQ(actions.at(prefix + "add-right").allowedAnyone, authAdminKeep);
    EXPECT_EQ(actions.at(prefix + "add-right").allowedInactive, authAdminKeep);
    EXPECT_EQ(actions.at(prefix + "add-right").allowedActive, allowed);
    for (const std::string& action : {prefix + "change-right", prefix + "remove",
                                      std::string{"com.apple.ServiceManagement.blesshelper"}}) {
        EXPECT_EQ(actions.at(action).allowedAnyone, authAdminKeep) << action;
        EXPECT_EQ(actions.at(action).allowedInactive, authAdminKeep) << action;
        EXPECT_EQ(actions.at(action).allowedActive, authAdminKeep) << action;
    }
}

TEST(Pkexec, AsksInGermanToo)
{
    EXPECT_EQ(monitorActions("de_DE.UTF-8").at("com.apple.ServiceManagement.blesshelper").message,
              "Veltra Agent Status Monitor möchte ein neues Hilfsprogramm installieren.");
}
