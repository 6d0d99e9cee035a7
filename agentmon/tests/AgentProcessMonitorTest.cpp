#include "agentmon/AgentProcessMonitor.h"

#include "platform/base/tests/SleepingProcess.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/log/tests/RecordingSink.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;
using States = std::vector<AgentState>;
constexpr auto running = AgentState::running;
constexpr auto down = AgentState::down;

std::ptrdiff_t openDescriptors()
{
    return std::ranges::distance(std::filesystem::directory_iterator{"/proc/self/fd"});
}

/// A monitor whose query prints what the test wrote to a file, and processes that stand in for the
/// agent.
class AgentProcessMonitorTest : public testing::Test {
  protected:
    AgentProcessMonitorTest() { answer(""); }

    AgentProcessMonitor& start(std::chrono::milliseconds pollInterval = 10ms)
    {
        monitor_ = std::make_unique<AgentProcessMonitor>(
            notifications_, [this](AgentState state) { states_.push_back(state); },
            AgentProcessSearch{.processQuery = query_,
                               .service = service_,
                               .owner = owner_,
                               .pollInterval = pollInterval,
                               .timeLimit = timeLimit_});
        monitor_->start();
        return *monitor_;
    }

    /// Starts a monitor and waits for the first state that it tells.
    AgentProcessMonitor& startAndLook(std::chrono::milliseconds pollInterval = 10ms)
    {
        const std::size_t told = states_.size();
        start(pollInterval);
        EXPECT_TRUE(runLoopUntil([this, told] { return states_.size() > told; }));
        return *monitor_;
    }

    void setQuery(const std::string& query) { query_ = query; }
    void setOwner(uid_t owner) { owner_ = owner; }
    void setTimeLimit(std::chrono::milliseconds limit) { timeLimit_ = limit; }
    [[nodiscard]] const TemporaryFolder& folder() const noexcept { return folder_; }
    void destroyMonitor() { monitor_.reset(); }

    /// What the query prints from now on.
    void answer(const std::string& text) const { folder_.write("answer", text); }
    void answer(const SleepingProcess& process) const
    {
        answer(std::to_string(process.pid()) + "\n");
    }

    [[nodiscard]] const std::string& service() const noexcept { return service_; }
    [[nodiscard]] const States& states() const noexcept { return states_; }
    [[nodiscard]] bool waitFor(AgentState state) const
    {
        return runLoopUntil([this, state] { return !states_.empty() && states_.back() == state; });
    }

    /// Lets the main thread handle everything that is due.
    static void turn()
    {
        bool isDone = false;
        MainQueue::post([&isDone] { isDone = true; });
        EXPECT_TRUE(runLoopUntil([&isDone] { return isDone; }));
    }

    /// How many poll timers there are, running or not.
    [[nodiscard]] auto timers() const
    {
        // Timers that were stopped are deleted only now.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return monitor_->findChildren<QTimer*>().size();
    }

    [[nodiscard]] std::ptrdiff_t timesLogged(const std::string& message)
    {
        log_.drain();
        return std::ranges::count(recording_->messages(), message);
    }
    static std::string terminated(const SleepingProcess& process)
    {
        return "terminated " + std::to_string(process.pid());
    }

    [[nodiscard]] int exitNotifications() const noexcept { return exits_; }
    void postExitNotification()
    {
        notifications_.postNotificationName(AgentProcessMonitor::exitNotification);
    }

  private:
    TemporaryFolder folder_;
    std::string service_ = folder_.file("vxsvc");
    std::string query_ = "cat " + folder_.file("answer");
    uid_t owner_ = ::getuid();
    std::chrono::milliseconds timeLimit_ = 1min;
    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
    SystemLog log_{Recording::sink(recording_)};
    SystemLog::Redirection redirection_{log_};
    NotificationCenter notifications_;
    int exits_ = 0;
    NotificationCenter::Registration observer_ = notifications_.addObserver(
        QStringLiteral("vxsvcProcExitNotification"), nullptr, [this](const Notification& note) {
            EXPECT_FALSE(note.object.isValid());
            EXPECT_TRUE(note.userInfo.isEmpty());
            ++exits_;
        });
    States states_;
    std::unique_ptr<AgentProcessMonitor> monitor_;
};

TEST_F(AgentProcessMonitorTest, FindsTheServiceRunningAtStart)
{
    const SleepingProcess agent{service()};
    answer(agent);

    const AgentProcessMonitor& monitor = startAndLook();

    EXPECT_EQ(states(), States{running});
    EXPECT_EQ(monitor.getVXAgentProcPid(), agent.pid());
    EXPECT_EQ(timers(), 0);
}

TEST_F(AgentProcessMonitorTest, FindsTheServiceDownWhenTheQueryNamesNoProcess)
{
    for (const char* text : {"", "\n", "abc\n", "0\n", "-7\n"}) {
        answer(text);
        const AgentProcessMonitor& monitor = startAndLook(1h);

        EXPECT_EQ(states().back(), down) << text;
        EXPECT_LT(monitor.getVXAgentProcPid().value_or(1), 1) << text;
        EXPECT_EQ(timers(), 1) << text;
    }
}

TEST_F(AgentProcessMonitorTest, TakesTheFirstOfSeveralProcesses)
{
    const SleepingProcess agent{service()};
    const SleepingProcess second{service()};
    answer(std::to_string(agent.pid()) + "\n" + std::to_string(second.pid()) + "\n");
    startAndLook();

    agent.kill();

    EXPECT_TRUE(runLoopUntil([&] { return exitNotifications() == 1; }));
    EXPECT_EQ(timesLogged(terminated(agent)), 1);
}

TEST_F(AgentProcessMonitorTest, NoticesTheExitOnceAndPolls)
{
    SleepingProcess agent{service()};
    answer(agent);
    startAndLook(1h);

    answer("");
    agent.killAndReap();

    EXPECT_TRUE(waitFor(down));
    turn();
    EXPECT_EQ(states(), (States{running, down}));
    EXPECT_EQ(exitNotifications(), 1);
    EXPECT_EQ(timesLogged(terminated(agent)), 1);
    EXPECT_EQ(timers(), 1);
}

TEST_F(AgentProcessMonitorTest, KeepsItsOnePollTimerWhenTwoExitNotificationsArrive)
{
    const AgentProcessMonitor& monitor = startAndLook(1h);
    const QTimer* const timer = monitor.findChild<QTimer*>();

    postExitNotification();
    postExitNotification();

    EXPECT_EQ(states(), (States{down, down, down}));
    EXPECT_EQ(timers(), 1);
    EXPECT_EQ(monitor.findChild<QTimer*>(), timer);
}

TEST_F(AgentProcessMonitorTest, LeavesOtherNotificationsAlone)
{
    AgentProcessMonitor& monitor = startAndLook(1h);

    Notification other;
    other.name = QStringLiteral("VXStatusNotification");
    monitor.vxsvcProcMonitorNotificationHandler(other);

    EXPECT_EQ(states(), States{down});
}

TEST(AgentProcessSearch, LooksEveryFiveSeconds)
{
    EXPECT_EQ(AgentProcessSearch{}.pollInterval, 5s);
}

TEST_F(AgentProcessMonitorTest, GoesOnPollingAsLongAsTheServiceIsDown)
{
    start();

    EXPECT_TRUE(runLoopUntil([this] { return timesLogged("in processTimer") >= 3; }));

    EXPECT_EQ(states(), States{down});
    EXPECT_EQ(timers(), 1);
}

TEST_F(AgentProcessMonitorTest, FindsTheServiceAgainAndWatchesTheNewProcess)
{
    SleepingProcess agent{service()};
    answer(agent);
    startAndLook();
    agent.killAndReap();
    EXPECT_TRUE(waitFor(down));
    const SleepingProcess again{service()};

    answer(again);

    EXPECT_TRUE(waitFor(running));
    EXPECT_EQ(timers(), 0);
    EXPECT_GE(timesLogged("in processTimer"), 1);
    answer("");
    again.kill();
    EXPECT_TRUE(waitFor(down));
    EXPECT_EQ(timesLogged(terminated(again)), 1);
    EXPECT_EQ(exitNotifications(), 2);
}

TEST_F(AgentProcessMonitorTest, ReportsAServiceThatDiesBetweenBeingFoundAndBeingWatched)
{
    SleepingProcess agent{service()};
    AgentProcessMonitor& monitor = startAndLook(1h);
    agent.killAndReap();

    monitor.monitorProcessWithPid(agent.pid());

    EXPECT_TRUE(runLoopUntil([this] { return exitNotifications() == 1; }));
    EXPECT_EQ(states(), (States{down, down}));
    EXPECT_EQ(timesLogged(terminated(agent)), 1);
    EXPECT_EQ(timers(), 1);
}

TEST_F(AgentProcessMonitorTest, PassesOverAProcessOfAnotherUser)
{
    const SleepingProcess agent{service()};
    answer("1\n" + std::to_string(agent.pid()) + "\n");
    const bool isRoot = ::getuid() == 0;

    // The first process is root's.
    const AgentProcessMonitor& monitor = startAndLook(1h);
    EXPECT_EQ(monitor.getVXAgentProcPid(), isRoot ? 1 : agent.pid());

    answer(agent);
    setOwner(::getuid() + 1);
    EXPECT_EQ(startAndLook(1h).getVXAgentProcPid(), -1);
    EXPECT_EQ(states().back(), down);
}

TEST_F(AgentProcessMonitorTest, DoesNotWatchAProcessOfAnotherUserUnderTheSameNumber)
{
    const SleepingProcess other{service()};
    setOwner(::getuid() + 1);
    AgentProcessMonitor& monitor = startAndLook(1h);

    monitor.monitorProcessWithPid(other.pid());

    EXPECT_TRUE(runLoopUntil([this] { return exitNotifications() == 1; }));
}

TEST(AgentProcessSearch, LooksForAProcessOfRoot)
{
    EXPECT_EQ(AgentProcessSearch{}.owner, 0U);
}

TEST(AgentProcessSearch, TakesTwoSecondsAtMost)
{
    EXPECT_EQ(AgentProcessSearch{}.timeLimit, 2s);
}

const std::string tookTooLong = "The search for the agent's process took too long and was ended";

TEST_F(AgentProcessMonitorTest, DoesNotWaitForAQueryThatHangs)
{
    setQuery("sleep 1000");

    start();
    const auto count = states().size();
    destroyMonitor();

    EXPECT_EQ(count, 0U);
    EXPECT_EQ(timesLogged(tookTooLong), 0);
}

TEST_F(AgentProcessMonitorTest, KeepsTheStateWhenAQueryHangsAndTriesAgain)
{
    const SleepingProcess agent{service()};
    const std::string hangs = folder().file("hangs");
    setQuery("test -e " + hangs + " && sleep 1000; cat " + folder().file("answer"));
    startAndLook();
    ASSERT_EQ(states(), States{down});

    setTimeLimit(100ms);
    folder().write("hangs", "");
    answer(agent);
    start();
    EXPECT_TRUE(runLoopUntil([this] { return timesLogged(tookTooLong) >= 2; }));
    EXPECT_EQ(states(), States{down});
    setTimeLimit(1min);
    std::filesystem::remove(hangs);

    EXPECT_TRUE(waitFor(running));
}

TEST_F(AgentProcessMonitorTest, DoesNotTakeAnotherProgramUnderTheSameNumberForTheAgent)
{
    const SleepingProcess other{"sleep"};
    answer(other);

    startAndLook(1h);

    EXPECT_TRUE(waitFor(down));
    other.kill();
    turn();
    EXPECT_EQ(exitNotifications(), 1);
    EXPECT_EQ(timers(), 1);
}

TEST_F(AgentProcessMonitorTest, ForgetsTheProcessThatItWatchedBefore)
{
    const SleepingProcess before{service()};
    const SleepingProcess agent{service()};
    answer(before);
    AgentProcessMonitor& monitor = startAndLook(1h);

    monitor.monitorProcessWithPid(agent.pid());
    before.kill();
    agent.kill();

    EXPECT_TRUE(waitFor(down));
    turn();
    EXPECT_EQ(exitNotifications(), 1);
    EXPECT_EQ(timesLogged(terminated(agent)), 1);
}

TEST_F(AgentProcessMonitorTest, LeavesNothingOfWatchesThatAreReplaced)
{
    const SleepingProcess agent{service()};
    answer(agent);
    AgentProcessMonitor& monitor = startAndLook();
    turn();
    const auto descriptors = openDescriptors();

    for (int i = 0; i < 100; ++i)
        monitor.monitorProcessWithPid(agent.pid());

    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(AgentProcessMonitorTest, SaysWhenTheSystemGrantsNoWatch)
{
    const SleepingProcess agent{service()};
    AgentProcessMonitor& monitor = startAndLook(1h);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);

    monitor.monitorProcessWithPid(agent.pid());

    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    turn();
    EXPECT_EQ(exitNotifications(), 0);
    EXPECT_EQ(timesLogged("watch process " + std::to_string(agent.pid()) + ": Too many open files"),
              1);
}

// The id of a thread other than the main thread cannot be watched.
TEST_F(AgentProcessMonitorTest, PollsAServiceThatItCannotWatch)
{
    std::atomic<pid_t> number = 0;
    std::atomic<bool> isOver = false;
    std::thread thread{[&] {
        number = ::gettid();
        number.notify_one();
        isOver.wait(false);
    }};
    number.wait(0);
    answer(std::to_string(number) + "\n");
    startAndLook();
    EXPECT_EQ(states(), States{running});
    EXPECT_EQ(timers(), 1);

    answer("");

    EXPECT_TRUE(waitFor(down));
    EXPECT_EQ(timers(), 1);
    isOver = true;
    isOver.notify_one();
    thread.join();
}

TEST_F(AgentProcessMonitorTest, LeavesNothingBehindInHundredsOfStartsAndStops)
{
    startAndLook(1ms);
    const auto descriptors = openDescriptors();

    for (int cycle = 0; cycle < 300; ++cycle) {
        SleepingProcess agent{service()};
        answer(agent);
        ASSERT_TRUE(waitFor(running)) << cycle;
        ASSERT_EQ(timers(), 0) << cycle;
        answer("");
        agent.killAndReap();
        ASSERT_TRUE(waitFor(down)) << cycle;
        ASSERT_EQ(timers(), 1) << cycle;
    }

    destroyMonitor(); // a look may have descriptors
    EXPECT_LE(openDescriptors(), descriptors);
    EXPECT_EQ(exitNotifications(), 300);
}

} // namespace
} // namespace veltra
