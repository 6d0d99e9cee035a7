// What happens to requests if polkit is not there, or does not answer.

#include "tests/authorization/PolkitWorld.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <signal.h>

namespace veltra {
namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

const std::string polkitName = "org.freedesktop.PolicyKit1";
const std::string serviceFile = "/usr/share/dbus-1/system-services/" + polkitName + ".service";
const std::string get = "get " + guardingRight;
const std::string gain = "create " + installing + " 19";

void reloadBus()
{
    outputOf("dbus-send --system --print-reply --dest=org.freedesktop.DBus / "
             "org.freedesktop.DBus.ReloadConfig");
}

void killPolkit()
{
    const pid_t polkit = ownerOf(polkitName);
    ::kill(polkit, SIGKILL);
    EXPECT_TRUE(becomesTrue([&] { return ownerOf(polkitName) != polkit; }));
}

/// There is no polkit, and nothing that would start it.
class WithoutPolkit : public testing::Test {
  protected:
    WithoutPolkit()
    {
        std::filesystem::rename(serviceFile, "/tmp/service");
        reloadBus();
        killPolkit();
    }
    ~WithoutPolkit() override
    {
        std::filesystem::rename("/tmp/service", serviceFile);
        reloadBus();
    }
};

/// polkit is stopped: it accepts requests and answers none.
class WithHangingPolkit : public testing::Test {
  protected:
    WithHangingPolkit() { ::kill(polkit_, SIGSTOP); }
    ~WithHangingPolkit() override { ::kill(polkit_, SIGCONT); }

    // There is one: it was called at the start of the test.
    pid_t polkit_ = ownerOf(polkitName);
};

TEST_F(WithoutPolkit, FailsInsteadOfDenying)
{
    PolkitClient client;

    EXPECT_EQ(client.ask(get), "-60008");
    EXPECT_EQ(client.ask("has " + guardingRight + " 3"), "-60008");
    EXPECT_EQ(client.ask("set"), "-60008");
    EXPECT_EQ(client.ask(gain), "-60008");
}

TEST_F(WithoutPolkit, MakesReferencesAndFormsNonetheless)
{
    PolkitClient client;

    const std::string form = client.ask("form");

    EXPECT_EQ(PolkitClient{0}.ask("resolve " + form), "0");
}

TEST_F(WithoutPolkit, DoesNotThrowFromTheUpdate)
{
    PolkitClient client;

    EXPECT_EQ(client.ask("update"), "nothing thrown");
}

TEST_F(WithHangingPolkit, FailsAfterFiveSeconds)
{
    PolkitClient client;

    const auto start = steady_clock::now();
    EXPECT_EQ(client.ask(get), "-60008");
    EXPECT_EQ(client.ask(gain), "-60008");
    const auto taken = steady_clock::now() - start;

    EXPECT_GE(taken, 10s);
    EXPECT_LT(taken, 20s);
}

TEST_F(WithHangingPolkit, StartsNoToolThatWouldHangToo)
{
    PolkitClient client;

    EXPECT_EQ(client.ask("update"), "nothing thrown");

    EXPECT_EQ(toolLog(), "");
}

TEST(KilledPolkit, IsStartedAgainByTheNextQuestion)
{
    storeRight(R"({"version":1})");
    PolkitClient client;
    EXPECT_EQ(client.ask(get), R"({"version":1})");

    killPolkit();

    EXPECT_EQ(client.ask(get), R"({"version":1})");
}

TEST(KilledPolkit, EndsAQuestionThatIsOpen)
{
    PolkitClient client;
    auto agent = std::make_unique<ScriptedAgent>(client.pid(), ScriptedAgent::Answer::none);
    client.tell(gain);
    EXPECT_TRUE(becomesTrue([&] { return !agent->questions().empty(); }));

    killPolkit();

    EXPECT_EQ(client.line(), "-60008");
    agent->release();
}

TEST(UnknownRight, IsAFailureToAskFor)
{
    PolkitClient client;

    EXPECT_EQ(client.ask("has com.veltra.unknown 3"), "-60008");
}

TEST(Environment, LeadsToNoOtherBus)
{
    PolkitClient client{someUser, {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere"}};

    EXPECT_EQ(client.ask(get), "-60005");
}

} // namespace
} // namespace veltra
