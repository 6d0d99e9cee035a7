// What the six buttons do.

#include "app/VXStatusButton.h"
#include "app/tests/AppTesting.h"
#include "channel/client/tests/HelperTesting.h"
#include "channel/protocol/HelperConstants.h"
#include "platform/base/tests/FileBytes.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QPushButton>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

class VXStatusButtonActionsTest : public testing::Test {
  protected:
    VXStatusButtonActionsTest()
    {
        std::filesystem::create_directory(folder.file("Desktop"));
        std::filesystem::create_directory(folder.file("logs"));
        controller.setButton(&buttons[0]);
        controller.setButton1(&buttons[1]);
        controller.setButton2(&buttons[2]);
        controller.setButton3(&buttons[3]);
    }

    static void turn()
    {
        bool isDone = false;
        MainQueue::post([&isDone] { isDone = true; });
        EXPECT_TRUE(runLoopUntil([&isDone] { return isDone; }));
    }

    TemporaryFolder folder;
    FakeHelperDependencies helper{"/nowhere/at/all"};
    TextsInBundle texts;
    AgentInstallation installation{.logFolder = folder.file("logs/")};
    TestBundle bundle;
    VXStatusResourceController resources{installation, bundleWithoutTexts(bundle)};
    std::array<CommandButton, 4> buttons;
    VXStatusButton controller{{.resources = resources,
                               .helperController = [this] { return helper.makeController(); },
                               .logFolder = QString::fromStdString(installation.logFolder),
                               .desktopFolder = QString::fromStdString(folder.file("Desktop"))}};
};

TEST_F(VXStatusButtonActionsTest, TheFirstFourSendTheirCommands)
{
    controller.collectAndSend(nullptr);
    controller.sendEvents(nullptr);
    controller.checkNewPolicies(nullptr);
    controller.enforcePolicies(nullptr);

    ASSERT_EQ(helper.connections.size(), 4U);
    std::vector<std::string> sent;
    for (const auto& connection : helper.connections) {
        ASSERT_EQ(connection->calls().size(), 1U);
        sent.push_back(connection->calls()[0].method);
    }
    EXPECT_EQ(sent, (std::vector<std::string>{"runCommand -p", "runCommand -f", "runCommand -c",
                                              "runCommand -e"}));
}

TEST_F(VXStatusButtonActionsTest, CanBeCalledByName)
{
    for (const char* const action : {"collectAndSend", "sendEvents", "checkNewPolicies",
                                     "enforcePolicies", "saveContentsToDesktop"})
        EXPECT_TRUE(QMetaObject::invokeMethod(&controller, action, Q_ARG(QObject*, nullptr)))
            << action;

    EXPECT_EQ(helper.connections.size(), 4U);
    EXPECT_TRUE(std::filesystem::exists(folder.file("Desktop/Agent_Monitor.log")));
}

TEST_F(VXStatusButtonActionsTest, TwoQuickClicksSendTwoCommandsOverConnectionsOfTheirOwn)
{
    controller.sendEvents(nullptr);
    controller.sendEvents(nullptr);

    EXPECT_EQ(helper.connections.size(), 2U);
    EXPECT_EQ(buttons[1].runningCommands(), 2);
    EXPECT_TRUE(buttons[1].isEnabled());
}

TEST_F(VXStatusButtonActionsTest, AButtonShowsThatItsCommandsRunUntilTheLastHasEnded)
{
    controller.checkNewPolicies(nullptr);
    controller.checkNewPolicies(nullptr);
    EXPECT_EQ(buttons[2].accessibleDescription(), QStringLiteral("COMMAND_RUNNING"));

    helper.connections[0]->calls()[0].exitStatus(0);
    turn();
    EXPECT_EQ(buttons[2].runningCommands(), 1);
    EXPECT_EQ(buttons[2].accessibleDescription(), QStringLiteral("COMMAND_RUNNING"));
    helper.connections[1]->end();
    turn();

    EXPECT_EQ(buttons[2].runningCommands(), 0);
    EXPECT_EQ(buttons[2].accessibleDescription(), QString{});
    EXPECT_EQ(buttons[0].runningCommands(), 0);
}

TEST_F(VXStatusButtonActionsTest, AButtonDoesNotGoOnShowingACommandThatCannotBeSent)
{
    helper.authorization.failing["AuthorizationCreate"] = errAuthorizationInternal;

    testing::internal::CaptureStdout();
    controller.enforcePolicies(nullptr);
    turn();

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Command execution failed\n");
    EXPECT_EQ(buttons[3].runningCommands(), 0);
}

TEST_F(VXStatusButtonActionsTest, AButtonHasRoomBesideItsTitleForTheIndicator)
{
    CommandButton button;
    QPushButton plain;
    button.setText(QStringLiteral("Collect"));
    plain.setText(button.text());

    EXPECT_GE(button.sizeHint().width(),
              plain.sizeHint().width() + 2 * ActivityIndicator{}.sizeHint().width());
    EXPECT_EQ(button.sizeHint().height(), plain.sizeHint().height());
}

TEST_F(VXStatusButtonActionsTest, AButtonThatIsGoneIsNotTold)
{
    auto button = std::make_unique<CommandButton>();
    controller.setButton(button.get());
    controller.collectAndSend(nullptr);
    button.reset();

    helper.call().exitStatus(0);
    turn();
    controller.collectAndSend(nullptr);

    EXPECT_EQ(helper.connections.size(), 2U);
}

TEST_F(VXStatusButtonActionsTest, TheNewestLogIsCopiedToTheDesktop)
{
    folder.write("logs/vxsvc_1.log", "older");
    folder.write("logs/vxsvc_2.log", "newer");
    const auto now = std::filesystem::last_write_time(folder.file("logs/vxsvc_2.log"));
    std::filesystem::last_write_time(folder.file("logs/vxsvc_1.log"), now - std::chrono::hours{1});

    controller.saveContentsToDesktop(nullptr);
    EXPECT_EQ(bytesOf(folder.file("Desktop/Agent_Monitor.log")), "newer");
    folder.append("logs/vxsvc_2.log", " and longer");
    controller.saveContentsToDesktop(nullptr);

    EXPECT_EQ(bytesOf(folder.file("Desktop/Agent_Monitor.log")), "newer and longer");
}

TEST_F(VXStatusButtonActionsTest, TheCopyIsEmptyWithoutALog)
{
    controller.saveContentsToDesktop(nullptr);

    ASSERT_TRUE(std::filesystem::exists(folder.file("Desktop/Agent_Monitor.log")));
    EXPECT_EQ(bytesOf(folder.file("Desktop/Agent_Monitor.log")), "");
}

/// The same with the texts of a footer, and a view of what the tool prints.
class CommandEventsTest : public VXStatusButtonActionsTest {
  protected:
    CommandEventsTest()
    {
        speaking.setFooter(&footer);
        speaking.setToolOutput(&output);
        footer.setTexts(english, nullptr);
    }

    /// The newest event in the footer, without its time.
    std::string event() const
    {
        for (const QLabel* label : footer.findChildren<QLabel*>())
            if (label->accessibleDescription() == QStringLiteral("Newest event"))
                return label->text().section(QStringLiteral("  "), 1).toStdString();
        return "there is no such label";
    }

    /// The event when a command has ended.
    std::string eventAfter(const std::function<void(FakeHelperConnection::Call&)>& end)
    {
        speaking.sendEvents(nullptr);
        end(helper.call());
        turn();
        return event();
    }

    TextsInBundle englishTexts;
    VXStatusResourceController english = englishTexts.resources(installation);
    Footer footer;
    ToolOutputView output;
    VXStatusButton speaking{{.resources = english,
                             .helperController = [this] { return helper.makeController(); },
                             .logFolder = QString::fromStdString(installation.logFolder),
                             .desktopFolder = QString::fromStdString(folder.file("Desktop"))}};
};

TEST_F(CommandEventsTest, TellHowACommandEnded)
{
    EXPECT_EQ(eventAfter([](auto& call) { call.exitStatus(0); }), "Send Events: done");
    EXPECT_EQ(eventAfter([](auto& call) { call.exitStatus(3); }),
              "Send Events: ended with status 3");
    EXPECT_EQ(eventAfter([](auto& call) { call.exitStatus(kAuthorizationFailedExitCode); }),
              "Send Events: not authorized");
    EXPECT_EQ(eventAfter([](auto& call) {
                  call.onFailure({HelperFailure::Kind::notRun, "no such file"});
              }),
              "Send Events: could not be run: no such file");
    EXPECT_EQ(eventAfter([this](auto&) { helper.connection().end(); }),
              "Send Events: the helper is not reachable: the connection has ended");
}

TEST_F(CommandEventsTest, TellWhereTheLogWasSavedOrWhyNot)
{
    const std::string copy = folder.file("Desktop/Agent_Monitor.log");
    speaking.saveContentsToDesktop(nullptr);
    EXPECT_EQ(event(), "Saved to " + copy + ", but the log could not be read: Is a directory");
    folder.write("logs/vxsvc_1.log", "text");
    speaking.saveContentsToDesktop(nullptr);
    EXPECT_EQ(event(), "Saved to " + copy);
    std::filesystem::remove_all(folder.file("Desktop"));

    speaking.saveContentsToDesktop(nullptr);

    EXPECT_EQ(event(), "Not saved: No such file or directory");
}

TEST_F(CommandEventsTest, ClearTheOutputOfEarlierCommandsButNotOfThoseThatRun)
{
    output.add(QStringLiteral("earlier"));
    speaking.sendEvents(nullptr);
    EXPECT_EQ(output.toPlainText().toStdString(), "");
    output.add(QStringLiteral("first"));
    speaking.checkNewPolicies(nullptr);
    EXPECT_EQ(output.toPlainText().toStdString(), "first");
    for (const auto& connection : helper.connections)
        connection->calls()[0].exitStatus(0);
    turn();
    EXPECT_EQ(output.toPlainText().toStdString(), "first");

    speaking.sendEvents(nullptr);

    EXPECT_EQ(output.toPlainText().toStdString(), "");
}

} // namespace
} // namespace veltra
