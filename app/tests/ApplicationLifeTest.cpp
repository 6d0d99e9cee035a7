// What ends the program and what brings it to the front.

#include "app/VXStatusButton.h"
#include "app/VXStatusMainVC.h"
#include "app/tests/AppTesting.h"
#include "app/window/MainWindow.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/tests/PrivateSessionBus.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace veltra {
namespace {

const QString launchName = QStringLiteral("VXStatusMonitorAppLaunchNotification");

/// The main window with its main controller, which has no files to watch.
class ApplicationLifeTest : public testing::Test {
  protected:
    ApplicationLifeTest() { controller_->setMainWindow(window_.get()); }
    ~ApplicationLifeTest() override { qunsetenv("DBUS_SESSION_BUS_ADDRESS"); }

    static void SetUpTestSuite()
    {
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        static const TemporaryFolder withoutBus;
        qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(withoutBus.path()));
    }

    TemporaryFolder logs_;
    const AgentInstallation installation_{.logFolder = logs_.path() + "/"};
    const VXStatusResourceController resources_{installation_, nullptr};
    NotificationCenter notifications_;
    std::unique_ptr<MainWindow> window_ = std::make_unique<MainWindow>(notifications_);
    std::unique_ptr<VXStatusMainVC> controller_ = std::make_unique<VXStatusMainVC>(
        VXStatusMainDependencies{.notifications = notifications_,
                                 .resources = resources_,
                                 .fileWatcher = [] { return nullptr; },
                                 .installation = installation_});
};

TEST_F(ApplicationLifeTest, ClosingTheMainWindowEndsTheProgram)
{
    controller_->awakeFromNib();
    window_->show();

    EXPECT_EQ(endOfLoopAfter([this] { window_->close(); }), LoopEnd::quit);
    EXPECT_FALSE(window_->isVisible());
}

TEST_F(ApplicationLifeTest, ItIsTheControllerThatEndsTheProgram)
{
    window_->show();

    EXPECT_EQ(endOfLoopAfter([this] { window_->close(); }), LoopEnd::byTheTest);
}

TEST_F(ApplicationLifeTest, ClosingAnyWindowEndsTheProgramAndTheOthersWithIt)
{
    controller_->awakeFromNib();
    MainWindow other{notifications_};
    window_->show();
    other.show();

    EXPECT_EQ(endOfLoopAfter([&] { other.close(); }), LoopEnd::quit);
    EXPECT_FALSE(window_->isVisible());
}

TEST_F(ApplicationLifeTest, TheNotificationOfAnObjectThatItDoesNotKnowEndsTheProgramToo)
{
    controller_->awakeFromNib();
    window_->show();

    const auto end = endOfLoopAfter([this] {
        notifications_.postNotificationName(QStringLiteral("NSWindowWillCloseNotification"));
    });

    EXPECT_EQ(end, LoopEnd::quit);
}

TEST_F(ApplicationLifeTest, AControllerThatIsGoneEndsNothing)
{
    controller_->awakeFromNib();
    window_->show();
    controller_.reset();

    EXPECT_EQ(endOfLoopAfter([this] { window_->close(); }), LoopEnd::byTheTest);
}

TEST_F(ApplicationLifeTest, TheWindowSaysOnceThatItIsAboutToCloseAndWhichOneItIs)
{
    std::vector<QObject*> closing;
    std::vector<bool> wasVisible;
    controller_->awakeFromNib();
    const auto registration = notifications_.addObserver(
        MainWindow::willCloseNotification, nullptr, [&](const Notification& notification) {
            closing.push_back(notification.object.value<QObject*>());
            wasVisible.push_back(window_->isVisible());
        });
    window_->show();

    EXPECT_EQ(endOfLoopAfter([this] { window_->close(); }), LoopEnd::quit);

    EXPECT_EQ(closing, std::vector<QObject*>{window_.get()});
    EXPECT_EQ(wasVisible, std::vector<bool>{true});
}

TEST_F(ApplicationLifeTest, TheCloseButtonsActionEndsTheProgram)
{
    VXStatusButton buttons{buttonDependencies(resources_)};
    window_->show();

    EXPECT_EQ(endOfLoopAfter([&] { buttons.close(nullptr); }), LoopEnd::quit);
}

TEST_F(ApplicationLifeTest, TheCloseButtonsActionCanBeCalledByName)
{
    VXStatusButton buttons{buttonDependencies(resources_)};
    bool isFound = false;

    const auto end = endOfLoopAfter(
        [&] { isFound = QMetaObject::invokeMethod(&buttons, "close", Q_ARG(QObject*, nullptr)); });

    EXPECT_TRUE(isFound);
    EXPECT_EQ(end, LoopEnd::quit);
}

TEST_F(ApplicationLifeTest, TheRequestOfAnotherProgramShowsTheWindow)
{
    controller_->handleVXStatusMonitorNotification(launchName);

    EXPECT_TRUE(window_->isVisible());
    EXPECT_TRUE(runLoopUntil([this] { return window_->isActiveWindow(); }));
}

TEST_F(ApplicationLifeTest, TheRequestOfAnotherProgramBringsTheWindowBackFromItsIcon)
{
    window_->showMinimized();
    ASSERT_TRUE(window_->isMinimized());

    controller_->handleVXStatusMonitorNotification(launchName);

    EXPECT_FALSE(window_->isMinimized());
    EXPECT_TRUE(window_->isVisible());
}

TEST_F(ApplicationLifeTest, AMaximisedWindowStaysSoWhenItIsBroughtToTheFront)
{
    window_->showMaximized();
    window_->setWindowState(window_->windowState() | Qt::WindowMinimized);

    controller_->handleVXStatusMonitorNotification(launchName);

    EXPECT_FALSE(window_->isMinimized());
    EXPECT_TRUE(window_->isMaximized());
}

TEST_F(ApplicationLifeTest, ANotificationOfAnotherNameDoesNothing)
{
    window_->showMinimized();

    controller_->handleVXStatusMonitorNotification(launchName + QStringLiteral("s"));
    controller_->handleVXStatusMonitorNotification(launchName.toLower());
    controller_->handleVXStatusMonitorNotification({});

    EXPECT_TRUE(window_->isMinimized());
}

TEST_F(ApplicationLifeTest, ComesToTheFrontWhenItHasStarted)
{
    window_->showMinimized();

    controller_->applicationDidFinishLaunching();

    EXPECT_TRUE(window_->isVisible());
    EXPECT_FALSE(window_->isMinimized());
    EXPECT_TRUE(runLoopUntil([this] { return window_->isActiveWindow(); }));
}

TEST_F(ApplicationLifeTest, BringsNothingToTheFrontWhenThereIsNoWindow)
{
    window_.reset();

    controller_->handleVXStatusMonitorNotification(launchName);
    controller_->applicationDidFinishLaunching();

    EXPECT_EQ(controller_->mainWindow(), nullptr);
}

/// The same with the test's own session bus.
class SessionTest : public ApplicationLifeTest, protected PrivateSessionBus {
  protected:
    void SetUp() override { startSession(); }

    void TearDown() override { controller_.reset(); }

    /// Posts a notification as another program does.
    static void post(const QString& name)
    {
        const int status = QProcess::execute(
            QStringLiteral("dbus-send"),
            {QStringLiteral("--session"), QStringLiteral("--type=signal"), QStringLiteral("/"),
             QStringLiteral("com.veltra.DistributedNotification.") + name});
        ASSERT_EQ(status, 0);
    }
};

TEST_F(SessionTest, ALaunchNotificationOfAnotherProcessBringsTheWindowToTheFront)
{
    controller_->awakeFromNib();
    waitForBus();
    window_->showMinimized();

    post(launchName);

    EXPECT_TRUE(runLoopUntil([this] { return !window_->isMinimized(); }));
    EXPECT_TRUE(window_->isVisible());
}

TEST_F(SessionTest, AControllerThatIsNotAwakeHearsNobody)
{
    window_->showMinimized();
    bool isFenceHeard = false;
    const auto fence = DistributedNotificationCenter::addObserver(
        QStringLiteral("Fence"), [&](const QString&) { isFenceHeard = true; });
    waitForBus();

    post(launchName);
    post(QStringLiteral("Fence"));

    EXPECT_TRUE(runLoopUntil([&] { return isFenceHeard; }));
    EXPECT_TRUE(window_->isMinimized());
}

} // namespace
} // namespace veltra
