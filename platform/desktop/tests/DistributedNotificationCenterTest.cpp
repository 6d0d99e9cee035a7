#include "platform/desktop/DistributedNotificationCenter.h"

#include "platform/desktop/tests/PrivateSessionBus.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/log/tests/RecordingSink.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Registration = DistributedNotificationCenter::Registration;

/// A session bus, and programs that post on it.
class DistributedNotificationCenterTest : public testing::Test, protected PrivateSessionBus {
  protected:
    /// Posts as another program does.
    void post(const QString& member, const QString& path = QStringLiteral("/"),
              const QStringList& arguments = {})
    {
        send(QStringLiteral("com.veltra.DistributedNotification.") + member, path, arguments);
    }

    void send(const QString& signal, const QString& path = QStringLiteral("/"),
              const QStringList& arguments = {})
    {
        QProcess program;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address());
        program.setProcessEnvironment(environment);
        program.start(QStringLiteral("dbus-send"),
                      QStringList{QStringLiteral("--session"), QStringLiteral("--type=signal"),
                                  path, signal} +
                          arguments);
        EXPECT_TRUE(program.waitForFinished());
        EXPECT_EQ(program.exitCode(), 0) << program.readAllStandardError().toStdString();
    }

    Registration observe(const QString& name) { return observe(name, recorder()); }

    /// Calls `handler` for all that is posted after this has returned.
    static Registration observe(const QString& name, std::function<void(QString)> handler)
    {
        auto registration = DistributedNotificationCenter::addObserver(name, std::move(handler));
        waitForBus();
        return registration;
    }

    /// Waits until everything that was posted so far has arrived.
    void waitForPosted()
    {
        bool isThere = false;
        const Registration fence =
            observe(QStringLiteral("Fence"), [&](const QString&) { isThere = true; });
        post(QStringLiteral("Fence"));
        ASSERT_TRUE(runLoopUntil([&] { return isThere; }));
    }

    std::function<void(QString)> recorder()
    {
        return [this](const QString& posted) { arrived_ << posted; };
    }

    const QStringList& arrived() const { return arrived_; }

  private:
    QStringList arrived_;
};

TEST_F(DistributedNotificationCenterTest, DeliversWhatAnotherProgramPosts)
{
    startSession();
    std::thread::id deliveredOn;
    QString delivered;
    const Registration registration = observe(QStringLiteral("Launched"), [&](const QString& name) {
        delivered = name;
        deliveredOn = std::this_thread::get_id();
    });

    post(QStringLiteral("Launched"));

    EXPECT_TRUE(runLoopUntil([&] { return !delivered.isEmpty(); }));
    EXPECT_EQ(delivered, QStringLiteral("Launched"));
    EXPECT_EQ(deliveredOn, std::this_thread::get_id());
}

TEST_F(DistributedNotificationCenterTest, DeliversOncePerPostWithAnyPathAndArguments)
{
    startSession();
    const Registration registration = observe(QStringLiteral("Launched"));

    post(QStringLiteral("Launched"), QStringLiteral("/some/where"));
    post(QStringLiteral("Launched"), QStringLiteral("/"),
         {QStringLiteral("string:text"), QStringLiteral("int32:7")});
    waitForPosted();

    EXPECT_EQ(arrived(), (QStringList{QStringLiteral("Launched"), QStringLiteral("Launched")}));
}

TEST_F(DistributedNotificationCenterTest, PassesOtherNamesAndInterfacesOver)
{
    startSession();
    const Registration registration = observe(QStringLiteral("Launched"));

    post(QStringLiteral("LaunchedToo"));
    send(QStringLiteral("com.veltra.SomethingElse.Launched"));
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{});
}

TEST_F(DistributedNotificationCenterTest, CallsEveryObserverOfAName)
{
    startSession();
    const Registration first = observe(QStringLiteral("Launched"));
    const Registration second = observe(QStringLiteral("Launched"));

    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_EQ(arrived(), (QStringList{QStringLiteral("Launched"), QStringLiteral("Launched")}));
}

TEST_F(DistributedNotificationCenterTest, CallsNoObserverWhoseRegistrationHasEnded)
{
    startSession();
    Registration ended = observe(QStringLiteral("Launched"));
    const Registration lasting = observe(QStringLiteral("Launched"));

    ended = {};
    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{QStringLiteral("Launched")});
}

TEST_F(DistributedNotificationCenterTest, LetsAHandlerEndItsOwnRegistration)
{
    startSession();
    Registration registration;
    const std::string token(100, 'x');
    std::string seenAfterTheEnd;
    registration = observe(QStringLiteral("Launched"),
                           [&registration, &seenAfterTheEnd, token](const QString&) {
                               registration = {};
                               seenAfterTheEnd += token;
                           });

    post(QStringLiteral("Launched"));
    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_EQ(seenAfterTheEnd, token);
}

TEST_F(DistributedNotificationCenterTest, LogsWhatAHandlerThrowsAndGoesOn)
{
    startSession();
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};
    const Registration registration = observe(QStringLiteral("Launched"), [](const QString&) {
        throw std::runtime_error{"no such luck"};
    });

    post(QStringLiteral("Launched"));
    post(QStringLiteral("Launched"));
    waitForPosted();
    log.drain();

    const std::string line = "the error is no such luck";
    EXPECT_EQ(recording->messages(), (std::vector<std::string>{line, line}));
}

TEST_F(DistributedNotificationCenterTest, FindsTheBusInTheUsersRuntimeFolder)
{
    startBus();
    const Registration registration = observe(QStringLiteral("Launched"));

    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{QStringLiteral("Launched")});
}

TEST_F(DistributedNotificationCenterTest, DoesNothingWithoutABusUntilThereIsOne)
{
    const QString name = QStringLiteral("Launched");
    const Registration idle = DistributedNotificationCenter::addObserver(name, recorder());
    qputenv("DBUS_SESSION_BUS_ADDRESS", "autolaunch:");
    const Registration stillIdle = DistributedNotificationCenter::addObserver(name, recorder());

    startSession();
    const Registration registration = observe(QStringLiteral("Launched"));
    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{QStringLiteral("Launched")});
}

TEST_F(DistributedNotificationCenterTest, ConnectsAnewForObserversThatAreAddedAfterTheBusIsGone)
{
    startSession();
    const Registration former = observe(QStringLiteral("Launched"));

    stopBus();
    QCoreApplication::processEvents();
    startBus();
    const Registration registration = observe(QStringLiteral("Launched"));
    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{QStringLiteral("Launched")});
}

TEST_F(DistributedNotificationCenterTest, DoesNotWaitForABusThatHangs)
{
    startSession();
    hangBus();
    const QDeadlineTimer deadline{std::chrono::seconds{20}};

    const Registration registration =
        DistributedNotificationCenter::addObserver(QStringLiteral("Launched"), recorder());
    Registration ended =
        DistributedNotificationCenter::addObserver(QStringLiteral("Launched"), recorder());
    ended = {};
    const bool hasWaited = deadline.hasExpired();
    resumeBus();
    waitForBus();
    post(QStringLiteral("Launched"));
    waitForPosted();

    EXPECT_FALSE(hasWaited);
    EXPECT_EQ(arrived(), QStringList{QStringLiteral("Launched")});
}

TEST_F(DistributedNotificationCenterTest, EndsWithoutWaitingForABusThatHangs)
{
    startSession();
    hangBus();
    const QDeadlineTimer deadline{std::chrono::seconds{20}};

    {
        const Registration registration =
            DistributedNotificationCenter::addObserver(QStringLiteral("Launched"), recorder());
        QCoreApplication::processEvents();
    }

    EXPECT_FALSE(deadline.hasExpired());
}

TEST_F(DistributedNotificationCenterTest, LetsTheLoopTurnWhileManyNotificationsWait)
{
    startSession();
    constexpr int many = 300;
    int calls = 0;
    bool hasTimerFired = false;
    bool hadTimerFiredAtTheLastCall = false;
    const Registration registration = observe(QStringLiteral("Launched"), [&](const QString&) {
        if (++calls == 1)
            QTimer::singleShot(0, [&] { hasTimerFired = true; });
        hadTimerFiredAtTheLastCall = hasTimerFired;
    });

    for (int i = 0; i < many; ++i)
        post(QStringLiteral("Launched"));
    const bool haveAllArrived = runLoopUntil([&] { return calls == many; });

    EXPECT_TRUE(haveAllArrived);
    EXPECT_TRUE(hadTimerFiredAtTheLastCall);
}

} // namespace
} // namespace veltra
