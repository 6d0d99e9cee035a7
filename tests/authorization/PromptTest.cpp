// Prompts, and the programs that are started as root after them.

#include "tests/authorization/PolkitWorld.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>

namespace veltra {
namespace {

using Answer = ScriptedAgent::Answer;

const std::string gainInstalling = "create " + installing + " 19";
const std::string blessHelper = "bless " + helperName;

/// What the agent is asked when the helper is about to be installed.
const std::vector<std::string> installQuestion{installing + ": Install?"};

bool isInSystemCall(pid_t process, long number)
{
    return contentOf("/proc/" + std::to_string(process) + "/syscall")
        .starts_with(std::to_string(number) + " ");
}

TEST(Prompt, IsTheOnlyOneForTheRightAndTheInstallation)
{
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask(gainInstalling), "0");
    EXPECT_EQ(client.ask(blessHelper), "done");

    EXPECT_EQ(agent.questions(), installQuestion);
    EXPECT_TRUE(toolLog().starts_with("bless\n"));
    EXPECT_NE(toolLog().find("PKEXEC_UID=1\n"), std::string::npos);
}

TEST(Prompt, IsNotRepeatedForARightThatIsKept)
{
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask(gainInstalling), "0");
    EXPECT_EQ(client.ask(gainInstalling), "0");

    EXPECT_EQ(agent.questions(), installQuestion);
}

TEST(Prompt, IsOneForTwoThreadsThatWantTheSame)
{
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask("create-twice " + installing + " 19"), "0 0");

    EXPECT_EQ(agent.questions(), installQuestion);
}

TEST(Prompt, WaitsForAnAgentThatComesBack)
{
    PolkitClient client;

    client.tell(gainInstalling);
    EXPECT_TRUE(becomesTrue([&] { return isInSystemCall(client.pid(), SYS_clock_nanosleep); }));
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.line(), "0");
}

TEST(Prompt, ShowsTheTextOfTheRight)
{
    storeRight(R"({"version":1})");
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask("has " + guardingRight + " 3"), "0");

    EXPECT_EQ(agent.questions(),
              std::vector<std::string>{
                  helperName + ".runCommandWithPath-authData-completion-: "
                               "Quorrel wants to run the command /Library/Veltra/ovra/bin/trolex"});
}

TEST(Prompt, IsOneForAChangedRight)
{
    storeRight(R"({"version":0})");
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask("set"), "0");

    EXPECT_EQ(agent.questions(),
              std::vector<std::string>{"com.veltra.agentMonitor.admin.change-right: Change?"});
    EXPECT_TRUE(toolLog().starts_with("change-right\n"));
}

TEST(Prompt, IsOneForARightThatAUserWithoutASessionAdds)
{
    PolkitClient client{anotherUser};
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask("set"), "0");

    EXPECT_EQ(agent.questions(),
              std::vector<std::string>{"com.veltra.agentMonitor.admin.add-right: Add?"});
}

TEST(Prompt, IsNotShownToRoot)
{
    PolkitClient client{0};
    const ScriptedAgent agent{client.pid(), Answer::dismiss};

    EXPECT_EQ(client.ask("set"), "0");
    EXPECT_EQ(client.ask(gainInstalling), "0");
    EXPECT_EQ(client.ask(blessHelper), "done");

    EXPECT_EQ(agent.questions(), std::vector<std::string>{});
    EXPECT_EQ(toolLog().find("PKEXEC_UID"), std::string::npos);
}

TEST(Bless, StartsNothingWithoutTheRight)
{
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask(blessHelper),
              "install com.veltra.agentMonitor.helper: The user would have to be asked for "
              "credentials and cannot be");

    EXPECT_EQ(agent.questions(), std::vector<std::string>{});
    EXPECT_EQ(toolLog(), "");
}

TEST(Bless, KnowsNoOtherHelper)
{
    PolkitClient client{0};

    EXPECT_EQ(client.ask("bless com.veltra.another"),
              "install com.veltra.another in kSMDomainSystemLaunchd: Operation not supported");

    EXPECT_EQ(toolLog(), "");
}

TEST(Bless, TellsWhatTheToolSaidWhenItFails)
{
    letToolFail("70 there is no room");
    PolkitClient client;
    const ScriptedAgent agent{client.pid(), Answer::authenticate};

    EXPECT_EQ(client.ask(gainInstalling), "0");
    EXPECT_EQ(client.ask(blessHelper), "install com.veltra.agentMonitor.helper (exit status 70: "
                                       "there is no room): Input/output error");
}

TEST(AdminTool, GetsTheLanguageAndNothingElseOfTheEnvironment)
{
    PolkitClient client{someUser, {"LANG=de_DE.UTF-8", "LC_TIME=C", "TERM=dumb", "COLORTERM=yes"}};

    EXPECT_EQ(client.ask("set"), "0");

    EXPECT_NE(toolLog().find("LANG=de_DE.UTF-8\n"), std::string::npos);
    EXPECT_NE(toolLog().find("LC_TIME=C\n"), std::string::npos);
    EXPECT_EQ(toolLog().find("TERM"), std::string::npos);
}

TEST(AdminTool, IsStartedThoughTheLanguageIsOfNoKindThatPkexecAccepts)
{
    PolkitClient client{someUser, {"LANG=../../etc", "LC_ALL=a/b", "LC_TIME=%s"}};

    EXPECT_EQ(client.ask("set"), "0");
}

TEST(AdminTool, HasSucceededWhenSomebodyElseAddedTheRightMeanwhile)
{
    letToolEndWith(73);
    PolkitClient client;

    EXPECT_EQ(client.ask("set"), "0");
}

TEST(AdminTool, HasFailedWhenItSaysSoThoughTheRightIsThere)
{
    letToolEndWith(70);
    PolkitClient client;

    EXPECT_EQ(client.ask("set"), "-60008");
}

TEST(AdminTool, HasFailedWhenItDidNotWriteWhatWasAskedFor)
{
    PolkitClient client;

    EXPECT_EQ(client.ask("set 7"), "-60008");
}

TEST(AdminTool, HasFailedWhenItDidNotWriteThePromptThatWasAskedFor)
{
    PolkitClient client;

    EXPECT_EQ(client.ask("set-prompt another"), "-60008");
}

TEST(AdminTool, HasFailedWhenItWroteNothing)
{
    letToolFail("70 no room");
    PolkitClient client;

    EXPECT_EQ(client.ask("set"), "-60008");
    EXPECT_EQ(client.ask("get " + guardingRight), "-60005");
}

} // namespace
} // namespace veltra
