#include "watch/VXStatusQueue.h"
#include "watch/tests/WatcherTesting.h"

#include <atomic>
#include <barrier>

namespace veltra {
namespace {

/// Receives the newest log's path from the shared watcher.
class CountingReceiver : public LogPathReceiver {
  public:
    void addpath(const QString& path) override
    {
        const std::lock_guard lock{mutex_};
        paths_ += path;
        MainQueue::post([] {});
    }
    [[nodiscard]] QStringList paths() const
    {
        const std::lock_guard lock{mutex_};
        return paths_;
    }

  private:
    mutable std::mutex mutex_;
    QStringList paths_;
};

CountingReceiver& receiver()
{
    static CountingReceiver& instance = *new CountingReceiver;
    return instance;
}

// There is one shared watcher in a process, so its dependencies are set before all tests.
class SharedFileWatcherTest : public testing::Test {
  protected:
    static void SetUpTestSuite()
    {
        VXStatusQueue::setLogPathReceiver([]() -> LogPathReceiver& { return receiver(); });
    }
};

TEST_F(SharedFileWatcherTest, IsTheSameForTwoThreadsThatAskAtOnce)
{
    std::barrier start{2};
    const auto ask = [&start](VXStatusQueueCentral*& answer) {
        start.arrive_and_wait();
        answer = VXStatusQueue::sharedFileWatcher();
    };
    VXStatusQueueCentral* one = nullptr;
    VXStatusQueueCentral* other = nullptr;

    {
        const std::jthread first{[&] { ask(one); }};
        const std::jthread second{[&] { ask(other); }};
    }

    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one, other);
    EXPECT_EQ(VXStatusQueue::sharedFileWatcher(), one);
    EXPECT_TRUE(isOpen(one->queueFD()));
}

TEST_F(SharedFileWatcherTest, PostsOnTheDefaultCentreAndHandsTheNewestLogToTheReceiver)
{
    const TemporaryFolder folder;
    folder.write("file", "");
    const QString path = QString::fromStdString(folder.file("file"));
    VXStatusQueueCentral& watcher = *VXStatusQueue::sharedFileWatcher();
    std::atomic<int> written = 0;
    std::atomic<bool> isDeleted = false;
    const auto writes = NotificationCenter::defaultCenter().addObserver(
        VXStatusFileWatcherWriteNotification, &watcher, [&](const Notification&) { ++written; });
    // The last notification about the file, on the centre that is used last.
    const auto deletions = Workspace::sharedWorkspace().notificationCenter().addObserver(
        VXStatusFileWatcherDeleteNotification, &watcher,
        [&](const Notification&) { isDeleted = true; });

    watcher.addPath(path, NOTE_WRITE);
    folder.append("file", "text");
    const bool isHandedOn = runLoopUntil([] { return !receiver().paths().isEmpty(); });
    watcher.addPath(path, NOTE_DELETE);
    std::filesystem::remove(folder.file("file"));
    const bool isNoticed = runLoopUntil([&] { return isDeleted.load(); });
    watcher.removeAllPaths();

    EXPECT_TRUE(isHandedOn);
    EXPECT_TRUE(isNoticed);
    EXPECT_GE(written, 1);
    for (const QString& each : receiver().paths())
        EXPECT_TRUE(each.startsWith(u"/var/Veltra/agent/logs/")) << each.toStdString();
}

} // namespace
} // namespace veltra
