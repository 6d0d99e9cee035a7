#include "channel/client/HelperToolController.h"

#include "channel/client/tests/HelperTesting.h"
#include "channel/protocol/HelperConstants.h"
#include "platform/desktop/MainQueue.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/log/tests/RecordedLog.h"

#include <QThread>

#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

class HelperToolControllerTest : public testing::Test {
  protected:
    /// Lets the main thread do what has been posted to it so far.
    static void turn()
    {
        bool isDone = false;
        MainQueue::post([&isDone] { isDone = true; });
        EXPECT_TRUE(runLoopUntil([&isDone] { return isDone; }));
    }

    /// What the controller prints while `action` and the work that it posts run.
    template <typename Action>
    std::string printedDuring(Action action)
    {
        testing::internal::CaptureStdout();
        action();
        turn();
        return testing::internal::GetCapturedStdout();
    }

    std::optional<bool> status()
    {
        std::optional<bool> answer;
        controller->helperStatusWithCompletion([&](bool isInstalled) { answer = isInstalled; });
        return answer;
    }

    FakeHelperDependencies dependencies{VELTRA_TEST_COPY_1_0_2};
    std::shared_ptr<HelperToolController> controller = dependencies.makeController();
    int updates = 0;
    NotificationCenter::Registration registration = dependencies.notifications.addObserver(
        QStringLiteral("commandUpdate"), nullptr, [this](const Notification& notification) {
            EXPECT_FALSE(notification.object.isValid());
            EXPECT_TRUE(notification.userInfo.isEmpty());
            ++updates;
        });
};

TEST_F(HelperToolControllerTest, BeginsEmptyAndWithoutAConnection)
{
    EXPECT_EQ(controller->getCommandOutPut(), QString{});
    EXPECT_FALSE(controller->getCommandOutPut().isNull());
    EXPECT_EQ(controller->command(), QString{});
    EXPECT_EQ(controller->currentHelperConnection(), nullptr);
    EXPECT_TRUE(controller->currentHelperAuthData().isNull());
    EXPECT_FALSE(controller->helperIsInstalled());
    EXPECT_EQ(controller->currentHelperAuthDataKeyPath(), QString{});
    EXPECT_EQ(controller->helperIsInstalledKeyPath(), QString{});
    EXPECT_TRUE(dependencies.connections.empty());
}

TEST_F(HelperToolControllerTest, IsCalledBySelectorAndReadByKey)
{
    QObject& object = *controller;

    EXPECT_TRUE(
        QMetaObject::invokeMethod(&object, "runCommand", Q_ARG(QString, QStringLiteral("-p"))));
    EXPECT_TRUE(QMetaObject::invokeMethod(&object, "logWithStdErr",
                                          Q_ARG(QString, QStringLiteral("text"))));
    EXPECT_TRUE(QMetaObject::invokeMethod(&object, "setHelperIsInstalled", Q_ARG(bool, true)));

    EXPECT_EQ(object.property("command"), QStringLiteral("-p"));
    EXPECT_EQ(object.property("commandOutPut"), QStringLiteral("text"));
    EXPECT_EQ(object.property("helperIsInstalled"), true);
    EXPECT_TRUE(object.setProperty("helperInstalled", true));
    EXPECT_EQ(object.property("helperInstalled"), true);
}

TEST_F(HelperToolControllerTest, IsCurrentWhenTheHelperAnswersWithTheVersionOfTheCopy)
{
    std::optional<bool> answer;
    controller->helperStatusWithCompletion([&](bool isInstalled) { answer = isInstalled; });
    EXPECT_EQ(answer, std::nullopt);

    EXPECT_EQ(dependencies.call().method, "getVersion");
    dependencies.call().version("1.0.2");

    EXPECT_EQ(answer, true);
}

TEST_F(HelperToolControllerTest, IsNotCurrentWhenTheVersionIsAnyOther)
{
    for (const char* const version : {"1.0.10", "1.0.1", "1.0.2 ", "0", ""}) {
        std::optional<bool> answer;
        controller->helperStatusWithCompletion([&](bool isInstalled) { answer = isInstalled; });

        dependencies.call().version(version);

        EXPECT_EQ(answer, false) << version;
    }
}

TEST_F(HelperToolControllerTest, IsNotCurrentWhenTheConnectionFails)
{
    std::optional<bool> answer;
    controller->helperStatusWithCompletion([&](bool isInstalled) { answer = isInstalled; });

    dependencies.connection().end();

    EXPECT_EQ(answer, false);
}

TEST_F(HelperToolControllerTest, IsNotCurrentWhenTheCopyHasNoVersion)
{
    FakeHelperDependencies withoutVersion{VELTRA_TEST_COPY_WITHOUT_VERSION};
    FakeHelperDependencies withoutList{VELTRA_TEST_COPY_WITHOUT_LIST};
    FakeHelperDependencies withoutCopy{"/nowhere/at/all"};
    for (FakeHelperDependencies* some : {&withoutVersion, &withoutList, &withoutCopy}) {
        std::optional<bool> answer;

        some->makeController()->helperStatusWithCompletion([&](bool is) { answer = is; });

        EXPECT_EQ(answer, false);
        EXPECT_TRUE(some->connections.empty());
    }
}

TEST_F(HelperToolControllerTest, MakesOneConnectionAndResumesItAtOnce)
{
    controller->runCommand(QStringLiteral("-p"));
    controller->runCommand(QStringLiteral("-f"));

    EXPECT_EQ(dependencies.connections.size(), 1U);
    EXPECT_TRUE(dependencies.connection().isResumed());
    EXPECT_EQ(controller->currentHelperConnection(), dependencies.connections[0]);
}

TEST_F(HelperToolControllerTest, SendsTheOptionAndAFreshAuthorization)
{
    controller->runCommand(QStringLiteral("-c"));
    const auto first = dependencies.call();
    controller->runCommand(QStringLiteral("-e"));
    const auto second = dependencies.call();

    EXPECT_EQ(first.method, "runCommand -c");
    EXPECT_EQ(second.method, "runCommand -e");
    EXPECT_EQ(first.authData.size(), 32U);
    EXPECT_EQ(second.authData.size(), 32U);
    EXPECT_NE(first.authData, second.authData);
    EXPECT_TRUE(controller->currentHelperAuthData().isNull());
    EXPECT_EQ(controller->command(), QStringLiteral("-e"));
}

TEST_F(HelperToolControllerTest, SendsTheSavedAuthorizationWhenThereIsOne)
{
    controller->setCurrentHelperAuthData(QByteArray(32, 'x'));

    controller->runCommand(QStringLiteral("-c"));

    EXPECT_EQ(dependencies.call().authData, HelperProtocol::AuthorizationData(32, 'x'));
}

TEST_F(HelperToolControllerTest, PrintsThatACommandFailedWithoutAuthorization)
{
    dependencies.authorization.failing["AuthorizationCreate"] = errAuthorizationInternal;

    const std::string printed =
        printedDuring([&] { controller->runCommand(QStringLiteral("-c")); });

    EXPECT_EQ(printed, "Command execution failed\n");
    EXPECT_TRUE(dependencies.connection().calls().empty());
    EXPECT_EQ(controller->command(), QString{});
}

TEST_F(HelperToolControllerTest, DropsACommandSilentlyWhenThereIsNoExternalForm)
{
    dependencies.authorization.empty.insert("AuthorizationCreate");

    const std::string printed =
        printedDuring([&] { controller->runCommand(QStringLiteral("-c")); });

    EXPECT_EQ(printed, "");
    EXPECT_TRUE(dependencies.connection().calls().empty());
}

/// How the commands ended, in words.
class CommandEndTest : public HelperToolControllerTest {
  protected:
    void run()
    {
        controller->runCommand(QStringLiteral("-c"),
                               [this](const auto& end) { ends.push_back(inWords(end)); });
    }

    static std::string inWords(const HelperToolController::CommandEnd& end)
    {
        if (const auto* const status = std::get_if<std::int32_t>(&end))
            return "exited " + std::to_string(*status);
        const auto& failure = std::get<HelperFailure>(end);
        const bool isReached = failure.kind == HelperFailure::Kind::notRun;
        return (isReached ? "not run: " : "not reachable: ") + failure.reason;
    }

    std::vector<std::string> ends;
};

TEST_F(CommandEndTest, IsTheExitStatus)
{
    run();
    dependencies.call().exitStatus(0);
    turn();
    run();
    dependencies.call().exitStatus(kAuthorizationFailedExitCode);
    turn();

    EXPECT_EQ(ends, (std::vector<std::string>{"exited 0", "exited 503340"}));
}

TEST_F(CommandEndTest, IsWhyThereIsNoAuthorization)
{
    dependencies.authorization.failing["AuthorizationCreate"] = errAuthorizationInternal;
    EXPECT_NE(printedDuring([&] { run(); }), "");
    dependencies.authorization.failing.clear();
    dependencies.authorization.empty.insert("AuthorizationCreate");
    EXPECT_EQ(printedDuring([&] { run(); }), "");

    EXPECT_EQ(ends, (std::vector<std::string>{
                        "not run: Optional(The authorization services failed or cannot be reached)",
                        "not run: there is no authorization"}));
}

TEST_F(CommandEndTest, IsTheHelpersOwnFailure)
{
    run();

    dependencies.call().onFailure({HelperFailure::Kind::notRun, "no such tool"});
    turn();

    EXPECT_EQ(ends, std::vector<std::string>{"not run: no such tool"});
}

TEST_F(CommandEndTest, IsTheEndOfTheConnection)
{
    run();

    const std::string printed = printedDuring([&] { dependencies.connection().end(); });

    EXPECT_EQ(ends, std::vector<std::string>{"not reachable: the connection has ended"});
    EXPECT_EQ(printed, "");
}

TEST_F(CommandEndTest, MayOutlastTheConnectionAndTheController)
{
    run();
    const std::weak_ptr<HelperToolController> weak = controller;
    auto call = dependencies.call();
    dependencies.call().onFailure = {};
    controller.reset();

    dependencies.connection().end();
    turn();
    call.onFailure({HelperFailure::Kind::notReachable, "too late"});
    turn();

    EXPECT_EQ(ends, std::vector<std::string>{"not reachable: too late"});
    EXPECT_TRUE(weak.expired());
}

TEST_F(HelperToolControllerTest, PassesEveryPieceOfOutputOn)
{
    controller->runCommand(QStringLiteral("-p"));

    dependencies.connection().app().logWithStdOut("out");
    dependencies.connection().app().logWithStdErr("error");
    dependencies.connection().app().logWithStdOut("");

    EXPECT_EQ(dependencies.output, (QStringList{QStringLiteral("out"), QStringLiteral("error")}));
}

TEST_F(HelperToolControllerTest, KeepsTheOutputOfTheInformationCommandAndAnnouncesIt)
{
    controller->runCommand(QStringLiteral("-i"));

    dependencies.connection().app().logWithStdOut("abc");
    EXPECT_EQ(controller->getCommandOutPut(), QStringLiteral("abc"));
    EXPECT_EQ(updates, 1);
    dependencies.connection().app().logWithStdOut("");

    EXPECT_EQ(controller->getCommandOutPut(), QStringLiteral("abc"));
    EXPECT_EQ(updates, 1);
}

TEST_F(HelperToolControllerTest, KeepsTheLastPieceAndAnnouncesEveryOne)
{
    controller->runCommand(QStringLiteral("-i"));

    dependencies.connection().app().logWithStdOut("a");
    dependencies.connection().app().logWithStdErr("b");

    EXPECT_EQ(controller->getCommandOutPut(), QStringLiteral("b"));
    EXPECT_EQ(updates, 2);
}

TEST_F(HelperToolControllerTest, AnnouncesNothingForOtherCommands)
{
    controller->runCommand(QStringLiteral("-p"));
    dependencies.connection().app().logWithStdOut("properties");
    EXPECT_EQ(controller->getCommandOutPut(), QStringLiteral("properties"));
    controller->runCommand(QStringLiteral("-i"));
    controller->runCommand(QStringLiteral("-c"));

    dependencies.connection().app().logWithStdOut("late information");

    EXPECT_EQ(controller->getCommandOutPut(), QStringLiteral("late information"));
    EXPECT_EQ(updates, 0);
}

TEST_F(HelperToolControllerTest, TakesOutputOnlyWhileItsConnectionIsCurrent)
{
    controller->runCommand(QStringLiteral("-i"));
    const auto first = dependencies.connections[0];
    first->end();
    turn();
    EXPECT_EQ(controller->currentHelperConnection(), nullptr);
    controller->runCommand(QStringLiteral("-i"));

    first->app().logWithStdOut("from the grave");
    EXPECT_EQ(controller->getCommandOutPut(), QString{});
    EXPECT_EQ(updates, 0);
    dependencies.connection().app().logWithStdOut("alive");

    EXPECT_EQ(dependencies.connections.size(), 2U);
    EXPECT_EQ(controller->getCommandOutPut(), QStringLiteral("alive"));
}

TEST_F(HelperToolControllerTest, CountsAConnectionThatHasEndedAsNoneAtOnce)
{
    controller->runCommand(QStringLiteral("-p"));

    // On another thread, while the main thread is busy.
    std::thread{[this] { dependencies.connection().end(); }}.join();
    controller->runCommand(QStringLiteral("-i"));

    ASSERT_EQ(dependencies.connections.size(), 2U);
    EXPECT_EQ(dependencies.call().method, "runCommand -i");
}

TEST_F(HelperToolControllerTest, KeepsANewerConnectionWhenTheOlderOneEnds)
{
    controller->runCommand(QStringLiteral("-p"));
    const auto older = dependencies.connections[0];
    older->end();
    turn();
    controller->runCommand(QStringLiteral("-p"));
    const auto newer = controller->currentHelperConnection();

    older->end();
    turn();

    EXPECT_EQ(controller->currentHelperConnection(), newer);
}

TEST_F(HelperToolControllerTest, InstallsWithTheConsentOfAnAdministrator)
{
    controller->installHelper();

    ASSERT_EQ(dependencies.serviceManagement.calls().size(), 1U);
    const auto& call = dependencies.serviceManagement.calls()[0];
    EXPECT_EQ(call.domain, kSMDomainSystemLaunchd);
    EXPECT_EQ(call.executableLabel, "com.veltra.agentMonitor.helper");
    // Interaction, extension and pre-authorization.
    EXPECT_EQ(
        dependencies.authorization.calls(),
        std::vector<std::string>{"AuthorizationCreate 19 com.apple.ServiceManagement.blesshelper"});
    EXPECT_EQ(controller->currentHelperAuthDataKeyPath(), QStringLiteral("currentHelperAuthData"));
    EXPECT_EQ(controller->helperIsInstalledKeyPath(), QStringLiteral("helperIsInstalled"));
}

TEST_F(HelperToolControllerTest, PrintsThatTheInstallationFailedFromTheMainQueue)
{
    dependencies.authorization.gained().clear();
    dependencies.authorization.answers = {errAuthorizationCanceled};

    testing::internal::CaptureStdout();
    controller->installHelper();
    std::fflush(stdout);
    const std::string before = testing::internal::GetCapturedStdout();
    const std::string after = printedDuring([] {});

    EXPECT_EQ(before, "");
    EXPECT_EQ(after, "Failed to install helper\n");
    EXPECT_TRUE(dependencies.serviceManagement.calls().empty());
}

TEST_F(HelperToolControllerTest, PrintsThatTheInstallationFailedWithAnError)
{
    RecordedLog log;
    dependencies.serviceManagement.outcome = {
        .error = Error{std::make_error_code(std::errc::io_error), "install"}};

    EXPECT_EQ(printedDuring([&] { controller->installHelper(); }), "Failed to install helper\n");

    EXPECT_EQ(log.messages(), std::vector<std::string>{
                                  "The helper was not installed: install: Input/output error"});
}

TEST_F(HelperToolControllerTest, PrintsNothingOfARefusalWithoutAReason)
{
    RecordedLog log;
    dependencies.serviceManagement.outcome = {};
    EXPECT_EQ(printedDuring([&] { controller->installHelper(); }), "");

    dependencies.authorization.empty.insert("AuthorizationCreate");
    EXPECT_EQ(printedDuring([&] { controller->installHelper(); }), "");
    EXPECT_EQ(dependencies.serviceManagement.calls().size(), 1U);
    EXPECT_EQ(log.messages(),
              std::vector<std::string>(2, "The helper was not installed; no reason was given"));
}

TEST_F(HelperToolControllerTest, UsesANewConnectionAfterAnInstallation)
{
    controller->runCommand(QStringLiteral("-p"));
    const auto old = dependencies.connections[0];

    controller->installHelper();
    EXPECT_TRUE(old->isEnded());
    EXPECT_EQ(controller->currentHelperConnection(), nullptr);
    controller->runCommand(QStringLiteral("-i"));
    turn();

    EXPECT_EQ(dependencies.connections.size(), 2U);
    EXPECT_EQ(controller->currentHelperConnection(), dependencies.connections[1]);
}

TEST_F(HelperToolControllerTest, KeepsItsConnectionWhenAnInstallationFails)
{
    controller->runCommand(QStringLiteral("-p"));
    dependencies.serviceManagement.outcome = {};

    controller->installHelper();

    EXPECT_FALSE(dependencies.connection().isEnded());
    EXPECT_EQ(controller->currentHelperConnection(), dependencies.connections[0]);
}

TEST_F(HelperToolControllerTest, RegistersTheRightsAndSendsNothingWhenItLaunches)
{
    controller->LaunchHelper();

    EXPECT_EQ(dependencies.authorization
                  .AuthorizationRightGet(
                      "com.veltra.agentMonitor.helper.runCommandWithPath:authData:completion:")
                  .status,
              errAuthorizationSuccess);
    EXPECT_TRUE(dependencies.connections.empty());
}

TEST_F(HelperToolControllerTest, PrintsThatTheRightsCannotBeRegistered)
{
    dependencies.authorization.failing["AuthorizationCreate"] = errAuthorizationInternal;

    EXPECT_EQ(printedDuring([&] { controller->LaunchHelper(); }), "unable to launch helper\n");
}

TEST_F(HelperToolControllerTest, IsHeldByItsConnectionUntilThatEnds)
{
    const std::weak_ptr<HelperToolController> weak = controller;
    controller->runCommand(QStringLiteral("-p"));

    controller.reset();
    turn();
    EXPECT_FALSE(weak.expired());
    dependencies.connection().end();
    turn();

    EXPECT_TRUE(weak.expired());
}

TEST_F(HelperToolControllerTest, IsNotHeldByAConnectionThatItLetGoOf)
{
    const std::weak_ptr<HelperToolController> weak = controller;
    controller->runCommand(QStringLiteral("-p"));
    dependencies.connections.clear();
    controller.reset();
    ASSERT_FALSE(weak.expired());

    weak.lock()->disconnectHelper();

    EXPECT_TRUE(weak.expired());
}

TEST_F(HelperToolControllerTest, GoesOnItsOwnThread)
{
    QThread* goneOn = nullptr;
    QObject::connect(controller.get(), &QObject::destroyed,
                     [&] { goneOn = QThread::currentThread(); });

    EXPECT_TRUE(runOnWorker([last = std::move(controller)]() mutable { last.reset(); }));

    EXPECT_TRUE(runLoopUntil([&] { return goneOn != nullptr; }));
    EXPECT_EQ(goneOn, QThread::currentThread());
}

} // namespace
} // namespace veltra
