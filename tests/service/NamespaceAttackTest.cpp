// Who is refused that connects from other namespaces, or through another bus.
#include "tests/service/FalseBus.h"
#include "tests/service/ServiceTesting.h"

using namespace veltra;

namespace {

const std::string attacker = programs + "attacker";

Words inNamespaces(const std::string& which, const Words& command)
{
    Words whole = asNobody({"unshare", which, "-r"});
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

std::string executableOf(pid_t process)
{
    return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe");
}

Words relaying(const std::string& mode)
{
    layOutFalseBus();
    return {attacker, mode, trusted, falseBusFolder};
}

// The trusted program has been led to the attacker's bus and calls what it believes to be the
// helper.
void expectTheTrustedProgramToCallTheFalseHelper(ClientProgram& program)
{
    ASSERT_EQ(program.lines(2), (Words{"in wait", "ready"}));
    ASSERT_EQ(executableOf(program.pid()), trusted);
    program.tell("connect a");
    program.tell("version a");
    ASSERT_EQ(program.line(), "called by the trusted program's name");
}

// And nothing else.
void expectInLog(const std::string& line)
{
    EXPECT_TRUE(becomesTrue([&] { return helperLog() == line; })) << helperLog();
}

} // namespace

TEST(NamespaceAttack, AStampForgedInAUserAndPidNamespaceIsRefused)
{
    Words command = asNobody({"unshare", "-U", "-r", "-p", "--fork"});
    command.insert(command.end(), {attacker, "child-forges", trusted});
    ClientProgram program{command};

    EXPECT_EQ(program.lines(2), (Words{"ready", "refused it is in another user namespace"}));
}

TEST(NamespaceAttack, TheLinkToTheExecutableCannotBeForged)
{
    ClientProgram program{asNobody({attacker, "forges-link", trusted})};

    EXPECT_EQ(program.line(), "cannot forge the link: Operation not permitted");
}

TEST(NamespaceAttack, ALinkToTheExecutableForgedInAUserNamespaceIsRefused)
{
    ClientProgram program{inNamespaces("-U", {attacker, "forges-link", trusted})};

    ASSERT_EQ(program.line(), "runs " + trusted);
    EXPECT_EQ(executableOf(program.pid()), trusted);
    EXPECT_EQ(program.line(), "refused it is in another user namespace");
    expectInLog("refused process " + std::to_string(program.pid()) +
                " of user 65534: it is in another user namespace\n");
}

TEST(NamespaceAttack, ARelayFromAUserAndMountNamespaceIsRefused)
{
    ClientProgram program{inNamespaces("-Um", relaying("relays-from-mount"))};

    expectTheTrustedProgramToCallTheFalseHelper(program);
    EXPECT_EQ(program.line(), "refused it is in another user namespace");
    expectInLog("refused process " + std::to_string(program.pid()) +
                " of user 65534: it is in another user namespace\n");
}

TEST(NamespaceAttack, ARelayFromAMountNamespaceIsRefused)
{
    Words command{"unshare", "-m"};
    const Words relay = relaying("relays-from-mount");
    command.insert(command.end(), relay.begin(), relay.end());
    ClientProgram program{command};

    expectTheTrustedProgramToCallTheFalseHelper(program);
    EXPECT_EQ(program.line(), "refused it is in another mount namespace");
    expectInLog("refused process " + std::to_string(program.pid()) +
                " of user 0: it is in another mount namespace\n");
}
