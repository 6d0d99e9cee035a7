// The watcher ends at any time: without a deadlock and without leaving a thread or a descriptor.

#include "watch/VXStatusQueueCentral.h"
#include "watch/tests/ScriptedKernelQueue.h"
#include "watch/tests/WatcherTesting.h"

#include <atomic>
#include <stop_token>
#include <thread>

namespace veltra {
namespace {

class WatcherShutdownTest : public WatcherTest {
  protected:
    /// Replaces the watcher with one whose events and interruption the test controls.
    ScriptedKernelQueue& script()
    {
        auto owned = std::make_unique<ScriptedKernelQueue>();
        ScriptedKernelQueue& queue = *owned;
        central_ = std::make_unique<VXStatusQueueCentral>(std::move(owned), dependencies());
        return queue;
    }

    std::ptrdiff_t threads_ = threadCount();
};

/// Reports when the watcher's thread has taken an event: the thread notes the path before anything
/// else.
class NotingGate : public FakeWorkspace {
  public:
    void noteFileSystemChanged(const QString& /*path*/) override { noted.open(); }

    Gate noted;
};

TEST_F(WatcherShutdownTest, EndsWithoutEverHavingStarted)
{
    central_.reset();

    EXPECT_EQ(threadCount(), threads_);
}

TEST_F(WatcherShutdownTest, EndsWhileItsThreadWaitsForEvents)
{
    central_->addPath(log());
    settle();

    central_.reset();

    EXPECT_TRUE(waitForThreadCount(threads_));
}

TEST_F(WatcherShutdownTest, EndsWhileItsThreadWaitsOnARealQueue)
{
    const auto descriptors = descriptorCount();
    auto central = VXStatusQueueCentral::init(dependencies());
    ASSERT_TRUE(central);
    central->addPath(log());
    central->addPath(QString::fromStdString(logs_.path()));

    central.reset();

    EXPECT_TRUE(waitForThreadCount(threads_));
    EXPECT_EQ(descriptorCount(), descriptors);
}

TEST_F(WatcherShutdownTest, ClosesTheDescriptorsOfItsPaths)
{
    const auto descriptors = descriptorCount();
    auto central = VXStatusQueueCentral::init(dependencies());
    for (const std::string name : {"vxsvc_2.log", "vxsvc_3.log"}) {
        logs_.write(name, "");
        central->addPath(log(name));
        central->addPath(log(name));
    }
    ASSERT_GT(descriptorCount(), descriptors + 2);

    central.reset();

    EXPECT_EQ(descriptorCount(), descriptors);
}

TEST_F(WatcherShutdownTest, EndsWhileItsThreadWaitsForTheMainThread)
{
    NotingGate workspace;
    auto owned = std::make_unique<FakeKernelQueue>();
    FakeKernelQueue& queue = *owned;
    auto central = std::make_unique<VXStatusQueueCentral>(
        std::move(owned), VXStatusQueueDependencies{.notifications = notifications_,
                                                    .workspace = workspace,
                                                    .resources = resources_,
                                                    .pathReceiver = dependencies().pathReceiver,
                                                    .installation = installation_});
    central->addPath(log());

    // From here on no event loop runs, so the thread blocks in its first post.
    queue.post(central->entry(log())->watchedFD(), 0x7F);
    ASSERT_TRUE(workspace.noted.waitUntilOpen());
    central.reset();

    EXPECT_TRUE(waitForThreadCount(threads_));
    EXPECT_EQ(happenings().front().notification.name, VXStatusFileWatcherRenameNotification);
}

TEST_F(WatcherShutdownTest, WaitsForAnObserverThatIsInALongPass)
{
    ScriptedKernelQueue& queue = script();
    const auto entry = central_->addPathToQueue(log(), 0x7F);
    Gate isInside;
    std::atomic<bool> hasEnded = false;
    const auto registration =
        notifications_.addObserver(logNotification, nullptr, [&](const Notification&) {
            isInside.open();
            MainQueue::post([] {});
            ASSERT_TRUE(queue.waitUntilInterrupted());
            // A pass's last request to the main thread, which is already waiting for this thread.
            MainQueue::runAndWait([&] { hasEnded = true; });
        });
    queue.add([&] { return KernelQueue::Event{.fflags = NOTE_EXTEND, .udata = entry}; });
    const auto hasAnnounced = [this] {
        const auto all = happenings();
        return !all.empty() && all.back().notification.name == logNotification;
    };
    ASSERT_TRUE(runLoopUntil(hasAnnounced));
    ASSERT_TRUE(isInside.waitUntilOpen());

    central_.reset();

    EXPECT_TRUE(hasEnded);
    EXPECT_TRUE(waitForThreadCount(threads_));
}

TEST_F(WatcherShutdownTest, TakesNoFurtherEventOnceItIsToEnd)
{
    ScriptedKernelQueue& queue = script();
    const auto entry = central_->addPathToQueue(log(), 0x7F);
    int waits = 0;
    for (int event = 0; event < 2; ++event)
        queue.add([&] {
            ++waits;
            EXPECT_TRUE(queue.waitUntilInterrupted());
            return KernelQueue::Event{.fflags = NOTE_LINK, .udata = entry};
        });

    central_.reset();

    EXPECT_LE(waits, 1);
}

TEST_F(WatcherShutdownTest, EndsWhileEventsPourIn)
{
    // Ends by itself when the test does, however the test ends.
    std::jthread writer{[this](const std::stop_token& stop) {
        while (!stop.stop_requested())
            logs_.append("vxsvc_1.log", "x\n");
    }};
    bool isNoticedEachTime = true;

    for (int round = 0; round < 20; ++round) {
        const std::size_t before = happenings().size();
        auto central = VXStatusQueueCentral::init(dependencies());
        ASSERT_TRUE(central);
        central->addPath(log());
        isNoticedEachTime =
            isNoticedEachTime && runLoopUntil([&] { return happenings().size() > before + 3; });
        central.reset();
    }
    writer.request_stop();
    writer.join();

    EXPECT_TRUE(isNoticedEachTime);
    EXPECT_TRUE(waitForThreadCount(threads_));
}

TEST_F(WatcherShutdownTest, APathThatIsRegisteredAfterAStopStartsItAgain)
{
    central_->addPath(log());
    settle();

    central_->stop();
    const bool isRunningAfterStop = central_->keepThreadRunning();
    const bool isThreadGone = waitForThreadCount(threads_);
    central_->stop();
    central_->addPath(QString::fromStdString(logs_.path()));
    post(log(), NOTE_LINK);
    settle();

    EXPECT_FALSE(isRunningAfterStop);
    EXPECT_TRUE(isThreadGone);
    EXPECT_EQ(happenings().size(), 3U);
}

TEST_F(WatcherShutdownTest, PathsComeAndGoOnTheMainThreadWhileEventsPourIn)
{
    const std::string names[] = {"vxsvc_2.log", "vxsvc_3.log", "vxsvc_4.log"};
    for (const std::string& name : names)
        logs_.write(name, "");
    auto central = VXStatusQueueCentral::init(dependencies());
    ASSERT_TRUE(central);
    central->addPath(QString::fromStdString(logs_.path()));
    std::jthread writer{[&](const std::stop_token& stop) {
        for (std::size_t round = 0; !stop.stop_requested(); ++round) {
            logs_.append(names[round % std::size(names)], "x\n");
            logs_.write("passing", "x");
            std::filesystem::remove(logs_.file("passing"));
        }
    }};

    for (std::size_t round = 0; round < 200; ++round) {
        central->addPath(log(names[round % std::size(names)]), 1U << (round % 7));
        QCoreApplication::processEvents();
        if (round % 3 == 2)
            central->removePath(log(names[(round / 3) % std::size(names)]));
    }
    const bool isNoticed = runLoopUntil([this] { return happenings().size() > 20; });
    central->removeAllPaths();
    central.reset();
    writer.request_stop();
    writer.join();

    EXPECT_TRUE(isNoticed);
    EXPECT_TRUE(waitForThreadCount(threads_));
}

} // namespace
} // namespace veltra
