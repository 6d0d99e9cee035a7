// Who is refused.
#include "platform/signing/tests/SignedFile.h"
#include "platform/signing/tests/SigningChain.h"
#include "tests/service/ServiceTesting.h"

#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace veltra;
using namespace std::chrono_literals;

namespace {

const std::string unsignedAttacker = programs + "attacker";
const std::string signedAttacker = programs + "signed_attacker";
const Words refused{"a ended", "a failed"};

std::string copyOf(const std::string& program)
{
    const std::string copy = programs + "copy";
    std::filesystem::copy_file(program, copy, std::filesystem::copy_options::overwrite_existing);
    return copy;
}

std::string copyWithoutSignature(const std::string& program)
{
    const std::string copy = copyOf(program);
    EXPECT_EQ(outputOf("objcopy " + copy + " " + copy + ".bare"), "");
    return copy + ".bare";
}

Words outcomeOf(Client& client)
{
    client.tell("version a");
    return client.lines(2);
}

Words inUserNamespace(const Words& command)
{
    Words whole = asNobody({"unshare", "-U", "-r", "-p", "--fork"});
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

} // namespace

TEST(Attack, AnUnsignedClientIsRefusedAndLogged)
{
    Client client{asNobody({copyWithoutSignature(trusted)})};

    EXPECT_EQ(outcomeOf(client), refused);
    EXPECT_TRUE(becomesTrue([] {
        return helperLog() == "Code signing check failed with error: "
                              "message(\"Optional(The code is not signed at all)\")\n";
    })) << helperLog();
}

TEST(Attack, AClientSignedByAnotherChainIsRefusedInSilence)
{
    const std::string copy = copyOf(trusted);
    signFile(copy, SigningChain{});
    Client client{asNobody({copy})};

    EXPECT_EQ(outcomeOf(client), refused);
    EXPECT_EQ(helperLog(), "");
}

TEST(Attack, AClientOfTheSameSignerWithOtherIssuersIsRefusedInSilence)
{
    const SigningChain chain;
    const Identity otherAnchor = makeIdentity("Anchor", nullptr, issuing);
    const SigningChain other{
        .anchor = copyOf(otherAnchor),
        .issuer = makeIdentity("Issuer", &otherAnchor, issuing, copyOf(chain.issuer).key),
        .signer = copyOf(chain.signer)};
    signFile(helperPath, chain);
    const std::string copy = copyOf(trusted);
    signFile(copy, other);
    Client client{asNobody({copy})};

    EXPECT_EQ(outcomeOf(client), refused);
    EXPECT_EQ(helperLog(), "");
    signFile(copy, chain);
    Client likeItself{asNobody({copy})};
    EXPECT_EQ(likeItself.version(), "a version 1.0.0");
}

TEST(Attack, AClientChangedByOneByteIsRefusedAndLogged)
{
    const std::string copy = copyOf(trusted);
    // In bytes that nothing ever reads: the name of a section.
    const auto place = contentOf(copy).rfind(".comment");
    std::fstream{copy, std::ios::in | std::ios::out}
        .seekp(static_cast<std::streamoff>(place))
        .put('x');
    Client client{asNobody({copy})};

    EXPECT_EQ(outcomeOf(client), refused);
    EXPECT_TRUE(becomesTrue([] {
        return helperLog() == "Code signing check failed with error: "
                              "message(\"Optional(The signature does not fit the code)\")\n";
    })) << helperLog();
}

TEST(Attack, AClientThatIsTracedIsRefused)
{
    Client client{asNobody({trusted})};
    ASSERT_EQ(::ptrace(PTRACE_SEIZE, client.pid(), nullptr, nullptr), 0);

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, AClientThatIsTracedLaterIsRefusedItsNextCommand)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");

    ASSERT_EQ(::ptrace(PTRACE_SEIZE, client.pid(), nullptr, nullptr), 0);
    client.tell("run a touch /tmp/done");

    EXPECT_EQ(client.line(), "a failed");
    EXPECT_FALSE(std::filesystem::exists("/tmp/done"));
}

TEST(Attack, AClientThatIsTracedLaterIsRefusedItsNextConnection)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");

    ASSERT_EQ(::ptrace(PTRACE_SEIZE, client.pid(), nullptr, nullptr), 0);
    client.tell("connect b");
    client.tell("version b");

    EXPECT_EQ(client.lines(2), (Words{"b ended", "b failed"}));
}

TEST(Attack, AClientWithALibraryFromAUsersFolderIsRefused)
{
    std::filesystem::create_directory("/tmp/users");
    std::filesystem::copy_file(programs + "libprocess_odd_library.so", "/tmp/users/lib.so");
    ASSERT_EQ(::chown("/tmp/users/lib.so", 65534, 65534), 0);
    Client client{asNobody(
        {"env", "ASAN_OPTIONS=verify_asan_link_order=0", "LD_PRELOAD=/tmp/users/lib.so", trusted})};

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, ACopyWhoseFileWasDeletedIsRefused)
{
    const std::string copy = copyOf(trusted);
    Client client{asNobody({copy})};
    std::filesystem::remove(copy);

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, ACopyWhoseFileWasReplacedIsRefused)
{
    const std::string copy = copyOf(trusted);
    Client client{asNobody({copy})};
    std::filesystem::copy_file(trusted, copy + ".new");
    std::filesystem::rename(copy + ".new", copy);

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, ACopyThatOthersMayWriteToIsRefused)
{
    const std::string copy = copyOf(trusted);
    ASSERT_EQ(::chmod(copy.c_str(), 0775), 0);
    Client client{asNobody({copy})};

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, ACopyOfAUsersOwnIsRefused)
{
    const std::string copy = copyOf(trusted);
    ASSERT_EQ(::chown(copy.c_str(), 65534, 65534), 0);
    Client client{asNobody({copy})};

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, AClientInAUserNamespaceIsRefused)
{
    Client client{inUserNamespace({trusted})};

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, AClientInAMountNamespaceIsRefused)
{
    Client client{{"unshare", "-m", trusted}};

    EXPECT_EQ(outcomeOf(client), refused);
}

TEST(Attack, AClientThatTheEnvironmentLeadsElsewhereGoesToTheSystemsBus)
{
    Client client{asNobody({"env", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/tmp/bus",
                            "DBUS_SESSION_BUS_ADDRESS=unix:path=/tmp/bus", trusted})};

    EXPECT_EQ(client.version(), "a version 1.0.0");
}

TEST(Attack, AProgramOfTheSameSignerThatAnswersIsLetIn)
{
    // Without this, the other attacks might fail for different reasons.
    ClientProgram attacker{asNobody({signedAttacker, "honest"})};

    EXPECT_TRUE(attacker.line().starts_with("granted "));
}

TEST(Attack, AnUnsignedProgramThatAnswersIsRefused)
{
    ClientProgram attacker{asNobody({unsignedAttacker, "honest"})};

    EXPECT_EQ(attacker.line(), "refused the service does not accept it");
}

TEST(Attack, AChildThatSharesTheConnectionOfATrustedProgramIsRefused)
{
    ClientProgram attacker{asNobody({unsignedAttacker, "child-answers", trusted})};

    EXPECT_EQ(attacker.lines(2), (Words{"ready", "refused another process answers for it"}));
}

TEST(Attack, AStampCannotBeForged)
{
    ClientProgram attacker{asNobody({unsignedAttacker, "child-forges", trusted})};

    EXPECT_EQ(attacker.lines(3), (Words{"cannot forge: Operation not permitted", "ready",
                                        "refused it does not answer in time"}));
}

TEST(Attack, AProgramThatAnswersAndThenExecutesTheTrustedOneIsRefused)
{
    for (int i = 0; i < 20; ++i) {
        ClientProgram attacker{asNobody({unsignedAttacker, "answers-then-executes", trusted})};

        std::string line = attacker.line();
        if (line == "ready")
            line = attacker.line();
        EXPECT_TRUE(line.starts_with("refused ")) << line;
        outputOf("pkill -KILL attacker");
    }
}

TEST(Attack, AClientThatExecutesAnotherProgramLosesItsConnection)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");

    client.tell("execute /bin/cat");

    EXPECT_TRUE(ends(helperProcess()));
}

TEST(Attack, AnotherProgramCannotUseAConnection)
{
    ClientProgram owner{asNobody({signedAttacker, "honest"})};
    const std::string granted = owner.line();
    const std::string path = granted.substr(granted.find(' ') + 1);

    const std::string call =
        "dbus-send --system --print-reply --dest=" + helperName + " " + path +
        " com.veltra.agentMonitor.HelperProtocol.runCommandWithPath_completion "
        "'string:touch /tmp/done'";

    EXPECT_NE(outputOf(call).find("somebody else's"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists("/tmp/done"));
}

TEST(Attack, OneThatBringsNoSocketIsRefused)
{
    ClientProgram attacker{asNobody({signedAttacker, "brings-file"})};

    EXPECT_EQ(attacker.line(), "refused it brings no socket to prove itself on");
}

TEST(Attack, OneThatProvesNothingOpensNoConnection)
{
    const std::string call = "dbus-send --system --print-reply --dest=" + helperName +
                             " /com/veltra/agentMonitor/helper "
                             "com.veltra.agentMonitor.Connections.Open objpath:/attacker";

    EXPECT_NE(outputOf("setpriv --reuid=65534 --clear-groups " + call)
                  .find("it has not proved which process it is"),
              std::string::npos);
}

TEST(Attack, OneThatNeverAnswersIsRefusedAfterFiveSeconds)
{
    const auto start = std::chrono::steady_clock::now();
    ClientProgram silent{asNobody({signedAttacker, "silent"})};

    EXPECT_EQ(silent.line(), "refused it does not answer in time");
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_GE(time, 5s);
    EXPECT_LT(time, 15s);
}

TEST(Attack, OneThatAsksAgainAndAgainHasNoMoreTimeToAnswer)
{
    const auto start = std::chrono::steady_clock::now();
    ClientProgram insistent{asNobody({signedAttacker, "insists"})};

    EXPECT_TRUE(insistent.hears("refused it does not answer in time"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 15s);
}

TEST(Attack, OneUserIsLookedAtNoMoreThan32TimesAtOnce)
{
    ClientProgram crowd{asNobody({signedAttacker, "crowd", "34"})};
    Words expected(32, "refused it does not answer in time");
    expected.insert(expected.end(), 2, "refused too many of the same user ask at once");

    EXPECT_EQ(crowd.lines(34), expected);

    // Their places become free as the helper is done with them.
    EXPECT_TRUE(becomesTrue([] {
        ClientProgram next{asNobody({signedAttacker, "honest"})};
        return next.line().starts_with("granted ");
    }));
}

TEST(Attack, AProgramHasNoMoreThan4096Connections)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    for (int i = 1; i < 4096; ++i)
        client.tell("connect " + std::to_string(i) + "\nversion " + std::to_string(i));
    for (int i = 1; i < 4096; ++i)
        ASSERT_TRUE(client.line().ends_with(" version 1.0.0"));

    client.tell("connect b");
    client.tell("version b");

    EXPECT_EQ(client.lines(2), (Words{"b ended", "b failed"}));
}

TEST(Attack, AHundredThatNeverAnswerDoNotKeepOthersWaiting)
{
    std::vector<std::unique_ptr<ClientProgram>> silent;
    for (int i = 0; i < 100; ++i)
        silent.push_back(std::make_unique<ClientProgram>(asNobody({signedAttacker, "silent"})));
    Client other{asSomebody({trusted})};

    EXPECT_EQ(other.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    for (const auto& program : silent)
        EXPECT_TRUE(program->line().starts_with("refused "));
    other.tell("run a true");
    EXPECT_TRUE(other.hears("a exit 0"));
    // All that remains is a pidfd for each settled client.
    EXPECT_TRUE(becomesTrue([&] { return descriptorsOf(helper) < 25; }));
}

TEST(Attack, TwoHundredThatNeverReadDoNotKeepOthersWaiting)
{
    ClientProgram deaf{asNobody({signedAttacker, "deaf-crowd", "200"})};
    ASSERT_EQ(deaf.line(), "asked");

    for (int i = 0; i < 10; ++i) {
        Client other{asSomebody({trusted})};
        EXPECT_EQ(other.version(), "a version 1.0.0");
        // Otherwise its end would end the helper.
        killHelper();
    }
}

// Older versions of the helper's library never close the descriptors of such a message.
TEST(Attack, MessagesThatAreNestedTooDeepEndTheHelperAtWorst)
{
    Client other{asSomebody({trusted})};
    EXPECT_EQ(other.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    // As its unit sets it.
    const rlimit most{8192, 8192};
    ASSERT_EQ(::prlimit(helper, RLIMIT_NOFILE, &most, nullptr), 0);

    ClientProgram attacker{asNobody({signedAttacker, "nests-too-deep", "1000"})};
    EXPECT_EQ(attacker.line(), "sent");
    attacker.kill(SIGKILL);

    EXPECT_TRUE(becomesTrue([helper] { return descriptorsOf(helper) < 25; }));
    EXPECT_TRUE(becomesTrue([&] {
        Client next{asSomebody({trusted})};
        return next.version() == "a version 1.0.0";
    }));
}

TEST(Attack, AFullQueueForTheHelperDelaysCallsAndFailsNone)
{
    Client other{asSomebody({trusted})};
    EXPECT_EQ(other.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    ::kill(helper, SIGSTOP);
    ClientProgram attacker{asNobody({signedAttacker, "fills-queue"})};
    EXPECT_EQ(attacker.line(), "filled");

    other.tell("version a\nconnect b\nversion b");
    EXPECT_EQ(other.line(500ms), "<nothing in time>");
    ::kill(helper, SIGCONT);

    Words answers = other.lines(2);
    std::ranges::sort(answers);
    EXPECT_EQ(answers, (Words{"a version 1.0.0", "b version 1.0.0"}));
    EXPECT_EQ(helperProcess(), helper);
}

TEST(Attack, AFloodOfAllThatAStrangerMaySendKeepsNobodyElseFromBeingServed)
{
    Client first{asSomebody({trusted})};
    EXPECT_EQ(first.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    // Messages that such a helper has not read yet fill the bus's queue for it, and the bus then
    // refuses everybody's.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "for want of speed: a helper with a sanitizer does not keep up with a flood";
#endif
    ClientProgram flooder{asNobody({signedAttacker, "floods", "100000"})};
    bool isFlooded = false;
    std::jthread reader{[&] { isFlooded = flooder.line(10min) == "flooded"; }};

    Client other{asSomebody({trusted})};
    EXPECT_EQ(other.version(), "a version 1.0.0");
    for (int i = 0; i < 100; ++i) {
        const std::string name = "c" + std::to_string(i);
        other.tell("connect " + name);
        EXPECT_EQ(other.version(name), name + " version 1.0.0");
    }

    reader.join();
    EXPECT_TRUE(isFlooded);
    EXPECT_EQ(first.version(), "a version 1.0.0");
    EXPECT_EQ(helperProcess(), helper);
    EXPECT_LT(statusOf(helper, "Threads"), 40);
    EXPECT_LT(statusOf(helper, "VmHWM"), 64 * 1024);
    // What it has sent last would start the next test's helper.
    const auto bus = joinBus();
    flooder.kill(SIGKILL);
    EXPECT_TRUE(becomesTrue([&] { return nameOf(flooder.pid(), *bus).empty(); }));
}
