// What the caller of a command sees.
#include "tests/service/ServiceTesting.h"

using namespace veltra;

namespace {

// A command's complete output, sorted. Each stream ends with an empty piece.
Words course(Client& client, const std::string& command, std::size_t count)
{
    client.tell(command);
    return client.lines(count);
}

} // namespace

TEST(HelperCommand, TellsTheVersion)
{
    Client client;

    EXPECT_EQ(client.version(), "a version 1.0.0");
}

TEST(HelperCommand, TellsZeroWhenTheHelperHasNoVersion)
{
    installHelper("helper_without_version");
    Client client;

    EXPECT_EQ(client.version(), "a version 0");
}

TEST(HelperCommand, ServesAnOrdinaryUserAsRoot)
{
    Client client{asNobody({programs + "service_client"})};

    EXPECT_EQ(course(client, "run a id -u", 4),
              (Words{"a err ", "a exit 0", "a out ", "a out 0\\n"}));
}

TEST(HelperCommand, StreamsBothOutputs)
{
    Client client;

    EXPECT_EQ(course(client, "run a echo one; echo two >&2", 5),
              (Words{"a err ", "a err two\\n", "a exit 0", "a out ", "a out one\\n"}));
}

TEST(HelperCommand, SendsPiecesAsTheToolWritesThem)
{
    Client client;

    client.tell("run a printf one; until [[ -e /tmp/go ]]; do sleep 0.01; done; printf two");

    EXPECT_EQ(client.line(), "a out one");
    std::ofstream{"/tmp/go"};
    EXPECT_TRUE(client.hears("a out two"));
}

TEST(HelperCommand, AnswersOnceWhenTheToolWritesNothing)
{
    Client client;

    EXPECT_EQ(course(client, "run a true", 3), (Words{"a err ", "a exit 0", "a out "}));
    EXPECT_EQ(client.version(), "a version 1.0.0");
}

TEST(HelperCommand, AnswersWithTheExitStatus)
{
    Client client;

    EXPECT_EQ(course(client, "run a exit 1", 3), (Words{"a err ", "a exit 1", "a out "}));
}

TEST(HelperCommand, AnswersWithTheNumberOfTheSignalThatEndedTheTool)
{
    Client client;

    EXPECT_EQ(course(client, "run a kill -9 $$", 3), (Words{"a err ", "a exit 9", "a out "}));
}

TEST(HelperCommand, PassesAnOptionAsTheOnlyArgument)
{
    std::ofstream{toolPath} << "#!/bin/bash\nprintf '%s.' \"$#\" \"$@\"\n";
    Client client;

    EXPECT_EQ(course(client, "run a -i", 4),
              (Words{"a err ", "a exit 0", "a out ", "a out 1.-i."}));
}

TEST(HelperCommand, PassesAStringWithSpacesAsOneArgument)
{
    std::ofstream{toolPath} << "#!/bin/bash\nprintf '%s.' \"$#\" \"$@\"\n";
    Client client;

    EXPECT_EQ(course(client, "run a -i  '; rm \"x $(id) *", 4),
              (Words{"a err ", "a exit 0", "a out ", "a out 1.-i  '; rm \"x $(id) *."}));
}

TEST(HelperCommand, PassesAnEmptyArgument)
{
    std::ofstream{toolPath} << "#!/bin/bash\nprintf '%s.' \"$#\" \"$@\"\n";
    Client client;

    EXPECT_EQ(course(client, "run a", 4), (Words{"a err ", "a exit 0", "a out ", "a out 1.."}));
}

TEST(HelperCommand, TakesAuthorizationDataAndIgnoresIt)
{
    Client client;

    EXPECT_EQ(course(client, "run-with-data a exit 3", 3), (Words{"a err ", "a exit 3", "a out "}));
    EXPECT_EQ(course(client, "run-without-data a exit 3", 3),
              (Words{"a err ", "a exit 3", "a out "}));
}

TEST(HelperCommand, GivesTheToolNoInput)
{
    Client client;

    EXPECT_EQ(course(client, "run a readlink /proc/self/fd/0", 4),
              (Words{"a err ", "a exit 0", "a out ", "a out /dev/null\\n"}));
}

TEST(HelperCommand, GivesTheToolNoDescriptorOfOurs)
{
    Client client;

    // One is the listing's own, and the shell has the script open as 255.
    client.tell("run a echo $(ls /proc/self/fd)");

    EXPECT_TRUE(client.hears("a out 0 1 2 3\\n"));
}

TEST(HelperCommand, GivesTheToolALiteralEnvironment)
{
    Client client;

    client.tell("run a tr '\\0' '\\n' < /proc/$$/environ | sort");

    EXPECT_TRUE(client.hears("a out HOME=/root\\nLANG=C.UTF-8\\n"
                             "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
                             "\\n"));
}

TEST(HelperCommand, DoesNotConfineTheTool)
{
    Client client;

    client.tell("run a touch /usr/veltra-was-here; grep NoNewPrivs /proc/self/status");

    EXPECT_TRUE(client.hears("a out NoNewPrivs:\t0\\n"));
    EXPECT_TRUE(std::filesystem::exists("/usr/veltra-was-here"));
}

TEST(HelperCommand, AnswersWhenTheToolClosedItsOutputAndWentOn)
{
    Client client;

    // systemd itself holds the streams open until the tool has ended, so their ends may come last.
    EXPECT_EQ(course(client, "run a exec >&- 2>&-; sleep 0.2; exit 4", 3),
              (Words{"a err ", "a exit 4", "a out "}));
}

TEST(HelperCommand, AnswersBeforeAChildOfTheToolHasClosedTheOutput)
{
    Client client;

    client.tell("run a (until [[ -e /tmp/go ]]; do sleep 0.01; done; printf late) & exit 5");

    EXPECT_TRUE(client.hears("a exit 5"));
    std::ofstream{"/tmp/go"};
    EXPECT_TRUE(client.hears("a out late"));
}

TEST(HelperCommand, RefusesACommandWhoseToolCannotBeStartedAndLivesOn)
{
    Client client;
    client.version();
    const pid_t helper = helperProcess();
    std::filesystem::remove(toolPath);

    client.tell("run a -i");

    EXPECT_EQ(client.line(), "a failed");
    EXPECT_EQ(client.version(), "a version 1.0.0");
    EXPECT_EQ(helperProcess(), helper);
}

TEST(HelperCommand, RunsHundredsOfCommandsAtOnce)
{
    Client client;
    // systemd takes long to start each. Their output takes more descriptors than the usual limit.
    const int commands = isUnderSystemd() ? 600 : 1000;

    for (int i = 0; i < commands; ++i)
        client.tell("run a exit 7");

    int answers = 0;
    for (int lines = 0; lines < 3 * commands; ++lines) {
        const std::string line = client.line();
        answers += line == "a exit 7";
        ASSERT_TRUE(line == "a exit 7" || line == "a out " || line == "a err ") << line;
    }
    EXPECT_EQ(answers, commands);
}
