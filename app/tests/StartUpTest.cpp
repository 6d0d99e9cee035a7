// What the table controller does before it shows anything.

#include "app/tests/TableController.h"

#include <QTimer>

#include <algorithm>
#include <filesystem>

namespace veltra {
namespace {

using Call = FakeHelperConnection::Call;

const std::string rightName =
    "com.veltra.agentMonitor.helper.runCommandWithPath:authData:completion:";

class StartUpTest : public TableControllerTest {
  protected:
    StartUpTest()
    {
        folder().write("vxsvc_1.log", logLine("Info", "first") + logLine("Info", "second"));
    }

    std::vector<std::string> sent()
    {
        std::vector<std::string> methods;
        for (const auto& connection : helper().connections)
            for (const Call& call : connection->calls())
                methods.push_back(call.method);
        return methods;
    }

    std::size_t installations() { return helper().serviceManagement.calls().size(); }
    void removeHelper() { std::filesystem::remove(folder().file("helper")); }
    bool isRightRegistered() { return helper().authorization.rights().contains(rightName); }
};

TEST_F(StartUpTest, InstallsNothingWhenTheHelperIsThereAndCurrent)
{
    start();

    EXPECT_EQ(installations(), 0U);
    EXPECT_EQ(sent(), (std::vector<std::string>{"getVersion", "runCommand -i"}));
    EXPECT_EQ(helper().connections.size(), 1U);
    EXPECT_TRUE(isRightRegistered());
}

TEST_F(StartUpTest, InstallsTheHelperOfAnotherVersionAndUsesThat)
{
    helper().onCall = [](FakeHelperConnection&, const Call& call) {
        if (call.version)
            call.version("1.0.1");
    };

    start();

    EXPECT_EQ(installations(), 1U);
    ASSERT_EQ(helper().connections.size(), 2U);
    EXPECT_TRUE(helper().connections[0]->isEnded());
    EXPECT_EQ(helper().connections[1]->calls()[0].method, "runCommand -i");
}

TEST_F(StartUpTest, InstallsTheHelperThatDoesNotAnswer)
{
    helper().onCall = [](FakeHelperConnection& connection, const Call& call) {
        if (call.version)
            connection.end();
    };

    start();

    EXPECT_EQ(installations(), 1U);
}

TEST_F(StartUpTest, InstallsTheHelperThatIsMissingWithoutAskingIt)
{
    removeHelper();
    helper().serviceManagement.onBless = [this] { folder().write("helper", "installed now"); };

    start();

    EXPECT_EQ(installations(), 1U);
    EXPECT_EQ(sent(), std::vector<std::string>{"runCommand -i"});
}

TEST_F(StartUpTest, EndsTheProcessWhenTheHelperIsStillMissing)
{
    removeHelper();
    helper().authorization.gained().clear();
    helper().authorization.answers = {errAuthorizationCanceled};

    testing::internal::CaptureStdout();
    EXPECT_THROW(make(), ProcessEnd);
    turn();

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to install helper\n");
    EXPECT_EQ(installations(), 0U);
    EXPECT_EQ(askedForPath(), 0);
    EXPECT_EQ(log().messages(),
              (Lines{"The helper was not installed: "
                     "Optional(The authorization was cancelled by the user)",
                     "The program ends, since it cannot be used without its helper"}));
    EXPECT_TRUE(helper().connections.empty());
    EXPECT_FALSE(isRightRegistered());
}

TEST_F(StartUpTest, GoesOnWithAnOlderHelperWhenTheUserRefusesTheNewOne)
{
    helper().authorization.gained().clear();
    helper().authorization.answers = {errAuthorizationCanceled};
    helper().onCall = [](FakeHelperConnection&, const Call& call) {
        if (call.version)
            call.version("1.0.1");
    };

    testing::internal::CaptureStdout();
    start();
    turn();

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to install helper\n");
    EXPECT_EQ(sent(), (std::vector<std::string>{"getVersion", "runCommand -i"}));
}

TEST_F(StartUpTest, LetsTheEventLoopTurnWhileTheHelperIsAsked)
{
    std::function<void(const std::string&)> answer;
    helper().onCall = [&](FakeHelperConnection&, const Call& call) {
        if (call.version)
            answer = call.version;
    };
    int turns = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (++turns < 3)
            return;
        // On a slow machine it would fire again before the wait notices the answer.
        timer.stop();
        answer("1.0.2");
    });
    timer.start(1);

    make();

    EXPECT_EQ(turns, 3);
    EXPECT_EQ(installations(), 0U);
}

TEST_F(StartUpTest, TakesTheAnswerFromAnotherThread)
{
    std::thread answering;
    helper().onCall = [&](FakeHelperConnection&, const Call& call) {
        if (call.version)
            answering = std::thread{[version = call.version] { version("1.0.2"); }};
    };

    make();
    answering.join();

    EXPECT_EQ(installations(), 0U);
}

TEST_F(StartUpTest, StartsTheFirstPassBeforeItAsksForTheInformation)
{
    bool hasRead = false;
    helper().onCall = [&](FakeHelperConnection&, const Call& call) {
        if (call.version)
            call.version("1.0.2");
        // The pass ends although this call has not returned.
        if (call.exitStatus)
            for (int i = 0; i < 1000 && !hasRead; ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds{10});
                const auto messages = log().messages();
                hasRead = std::ranges::any_of(messages, [](const std::string& message) {
                    return message.starts_with("read line: ");
                });
            }
    };

    start();

    EXPECT_TRUE(hasRead);
}

TEST_F(StartUpTest, HearsOfLogsBeforeItAsksForTheInformation)
{
    // Every pass over the log logs this.
    setInitialPath(pathOf("missing"));
    bool isPosted = false;
    helper().onCall = [&](FakeHelperConnection&, const Call& call) {
        if (call.version)
            call.version("1.0.2");
        if (call.exitStatus) {
            notify();
            isPosted = true;
        }
    };

    make();
    destroyController();

    EXPECT_TRUE(isPosted);
    EXPECT_EQ(log().complaints(), Lines(2, "No vxsvc log file present"));
}

TEST_F(StartUpTest, MissesInformationThatComesBeforeItListens)
{
    QLabel version;
    helper().onCall = [](FakeHelperConnection& connection, const Call& call) {
        if (call.version)
            call.version("1.0.2");
        if (call.exitStatus)
            connection.app().logWithStdOut("Version: 1\n");
    };
    make().setVersionlabel(&version);
    turn();
    EXPECT_EQ(version.text(), QString{});

    helper().connection().app().logWithStdOut("Version: 2\n");
    turn();

    EXPECT_EQ(version.text(), QStringLiteral("Veltra Agent VERSION 2"));
}

} // namespace
} // namespace veltra
