#include "platform/DistributedNotificationCenter.h"

#include "platform/tests/EventLoop.h"
#include "platform/tests/PrivateSessionBus.h"
#include "platform/tests/RecordingSink.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Registration = DistributedNotificationCenter::Registration;

/// A session, and programs that post in it.
class DistributedNotificationCenterTest : public testing::Test, protected PrivateSessionBus {
  protected:
    /// Posts as another program does.
    void post(const QString& member, const QString& path = u"/"_qs,
              const QStringList& arguments = {})
    {
        send(u"com.veltra.DistributedNotification."_qs + member, path, arguments);
    }

    void send(const QString& signal, const QString& path = u"/"_qs,
              const QStringList& arguments = {})
    {
        QProcess program;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_qs, address());
        program.setProcessEnvironment(environment);
        program.start(u"dbus-send"_qs,
                      QStringList{u"--session"_qs, u"--type=signal"_qs, path, signal} + arguments);
        EXPECT_TRUE(program.waitForFinished());
        EXPECT_EQ(program.exitCode(), 0) << program.readAllStandardError().toStdString();
    }

    Registration observe(const QString& name)
    {
        return DistributedNotificationCenter::addObserver(
            name, [this](const QString& posted) { arrived_ << posted; });
    }

    /// Waits until everything that was posted so far has arrived.
    void waitForPosted()
    {
        bool isThere = false;
        const Registration fence = DistributedNotificationCenter::addObserver(
            u"Fence"_qs, [&](const QString&) { isThere = true; });
        post(u"Fence"_qs);
        ASSERT_TRUE(runLoopUntil([&] { return isThere; }));
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
    const Registration registration =
        DistributedNotificationCenter::addObserver(u"Launched"_qs, [&](const QString& name) {
            delivered = name;
            deliveredOn = std::this_thread::get_id();
        });

    post(u"Launched"_qs);

    EXPECT_TRUE(runLoopUntil([&] { return !delivered.isEmpty(); }));
    EXPECT_EQ(delivered, u"Launched"_qs);
    EXPECT_EQ(deliveredOn, std::this_thread::get_id());
}

TEST_F(DistributedNotificationCenterTest, DeliversOncePerPostWithAnyPathAndArguments)
{
    startSession();
    const Registration registration = observe(u"Launched"_qs);

    post(u"Launched"_qs, u"/some/where"_qs);
    post(u"Launched"_qs, u"/"_qs, {u"string:text"_qs, u"int32:7"_qs});
    waitForPosted();

    EXPECT_EQ(arrived(), (QStringList{u"Launched"_qs, u"Launched"_qs}));
}

TEST_F(DistributedNotificationCenterTest, PassesOtherNamesAndInterfacesOver)
{
    startSession();
    const Registration registration = observe(u"Launched"_qs);

    post(u"LaunchedToo"_qs);
    send(u"com.veltra.SomethingElse.Launched"_qs);
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{});
}

TEST_F(DistributedNotificationCenterTest, CallsEveryObserverOfAName)
{
    startSession();
    const Registration first = observe(u"Launched"_qs);
    const Registration second = observe(u"Launched"_qs);

    post(u"Launched"_qs);
    waitForPosted();

    EXPECT_EQ(arrived(), (QStringList{u"Launched"_qs, u"Launched"_qs}));
}

TEST_F(DistributedNotificationCenterTest, CallsNoObserverWhoseRegistrationHasEnded)
{
    startSession();
    Registration ended = observe(u"Launched"_qs);
    const Registration lasting = observe(u"Launched"_qs);

    ended = {};
    post(u"Launched"_qs);
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{u"Launched"_qs});
}

TEST_F(DistributedNotificationCenterTest, LetsAHandlerEndItsOwnRegistration)
{
    startSession();
    Registration registration;
    const std::string token(100, 'x');
    std::string seenAfterTheEnd;
    registration = DistributedNotificationCenter::addObserver(
        u"Launched"_qs, [&registration, &seenAfterTheEnd, token](const QString&) {
            registration = {};
            seenAfterTheEnd += token;
        });

    post(u"Launched"_qs);
    post(u"Launched"_qs);
    waitForPosted();

    EXPECT_EQ(seenAfterTheEnd, token);
}

TEST_F(DistributedNotificationCenterTest, LogsWhatAHandlerThrowsAndGoesOn)
{
    startSession();
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};
    const Registration registration = DistributedNotificationCenter::addObserver(
        u"Launched"_qs, [](const QString&) { throw std::runtime_error{"no such luck"}; });

    post(u"Launched"_qs);
    post(u"Launched"_qs);
    waitForPosted();
    log.drain();

    const std::string line = "the error is no such luck";
    EXPECT_EQ(recording->messages(), (std::vector<std::string>{line, line}));
}

TEST_F(DistributedNotificationCenterTest, FindsTheBusInTheUsersRuntimeFolder)
{
    startBus();
    const Registration registration = observe(u"Launched"_qs);

    post(u"Launched"_qs);
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{u"Launched"_qs});
}

TEST_F(DistributedNotificationCenterTest, DoesNothingWithoutABusUntilThereIsOne)
{
    const Registration idle = observe(u"Launched"_qs);
    qputenv("DBUS_SESSION_BUS_ADDRESS", "autolaunch:");
    const Registration stillIdle = observe(u"Launched"_qs);

    startSession();
    const Registration registration = observe(u"Launched"_qs);
    post(u"Launched"_qs);
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{u"Launched"_qs});
}

TEST_F(DistributedNotificationCenterTest, ConnectsAnewForObserversThatAreAddedAfterTheBusIsGone)
{
    startSession();
    const Registration former = observe(u"Launched"_qs);

    stopBus();
    QCoreApplication::processEvents();
    startBus();
    const Registration registration = observe(u"Launched"_qs);
    post(u"Launched"_qs);
    waitForPosted();

    EXPECT_EQ(arrived(), QStringList{u"Launched"_qs});
}

TEST_F(DistributedNotificationCenterTest, DeliversWhatCameInWhileAnotherObserverWasAdded)
{
    startSession();
    constexpr int many = 100;
    const Registration registration = observe(u"Launched"_qs);
    for (int i = 0; i < many; ++i)
        post(u"Launched"_qs);

    const Registration other = observe(u"SomethingElse"_qs);

    EXPECT_TRUE(runLoopUntil([&] { return arrived().size() == many; }));
}

TEST_F(DistributedNotificationCenterTest, LetsTheLoopTurnWhileManyNotificationsWait)
{
    startSession();
    constexpr int many = 300;
    int calls = 0;
    bool hasTimerFired = false;
    bool hadTimerFiredAtTheLastCall = false;
    const Registration registration =
        DistributedNotificationCenter::addObserver(u"Launched"_qs, [&](const QString&) {
            if (++calls == 1)
                QTimer::singleShot(0, [&] { hasTimerFired = true; });
            hadTimerFiredAtTheLastCall = hasTimerFired;
        });

    for (int i = 0; i < many; ++i)
        post(u"Launched"_qs);
    const bool haveAllArrived = runLoopUntil([&] { return calls == many; });

    EXPECT_TRUE(haveAllArrived);
    EXPECT_TRUE(hadTimerFiredAtTheLastCall);
}

} // namespace
} // namespace veltra
