#include "app/VXStatusMainVC.h"

#include "app/window/MainWindow.h"
#include "platform/base/Folder.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/fakes/FakeWorkspace.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/kqueue/fakes/FakeKernelQueue.h"
#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"
#include "watch/VXStatusQueue.h"
#include "watch/tests/CrampedKernelQueue.h"

#include <QStringList>

#include <atomic>
#include <barrier>
#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

/// A log folder, and a file watcher with a fake kernel queue.
class VXStatusMainVCTest : public testing::Test {
  protected:
    VXStatusMainVCTest()
    {
        auto queue = std::make_unique<FakeKernelQueue>();
        queue_ = queue.get();
        watcher_ = std::make_unique<VXStatusQueueCentral>(
            std::move(queue), VXStatusQueueDependencies{.notifications = notifications_,
                                                        .workspace = workspace_,
                                                        .resources = resources_,
                                                        .pathReceiver = {},
                                                        .installation = installation_});
    }

    [[nodiscard]] VXStatusMainDependencies dependencies() { return dependencies(installation_); }
    [[nodiscard]] VXStatusMainDependencies dependencies(const AgentInstallation& installation)
    {
        return {.notifications = notifications_,
                .resources = resources_,
                .fileWatcher = [this] { return watcher_.get(); },
                .installation = installation};
    }

    [[nodiscard]] QString path(const std::string& name = {}) const
    {
        return QString::fromStdString(logs_.file(name));
    }

    /// The paths that the queue was asked to watch, in order, each with its mask.
    [[nodiscard]] std::vector<std::pair<QString, std::uint32_t>>
    registrations(const QStringList& paths) const
    {
        std::vector<std::pair<QString, std::uint32_t>> registered;
        for (const auto& change : queue_->changes())
            for (const QString& each : paths) {
                const auto entry = watcher_->entry(each);
                if (entry && entry->watchedFD() == change.descriptor)
                    registered.emplace_back(each, change.fflags);
            }
        return registered;
    }

    TemporaryFolder logs_;
    const AgentInstallation installation_{.logFolder = logs_.path() + "/"};
    const VXStatusResourceController resources_{installation_, nullptr};
    NotificationCenter notifications_;
    FakeWorkspace workspace_;
    FakeKernelQueue* queue_ = nullptr;
    std::unique_ptr<VXStatusQueueCentral> watcher_;
};

using Registrations = std::vector<std::pair<QString, std::uint32_t>>;

TEST_F(VXStatusMainVCTest, ListsTheAgentsLogsAndNeitherBackupsNorOtherFiles)
{
    for (const char* name : {"vxsvc_1.log", "vxsvc_backup_1.log", "other.log", "VXSVC_2.log"})
        logs_.write(name, "");

    const VXStatusMainVC controller{dependencies()};

    EXPECT_EQ(controller.logFiles(), QStringList{QStringLiteral("vxsvc_1.log")});
}

TEST_F(VXStatusMainVCTest, ALogsNameMayHoldTheAgentsNameAnywhere)
{
    logs_.write("old_vxsvc_2.log", "");

    const VXStatusMainVC controller{dependencies()};

    EXPECT_EQ(controller.logFiles(), QStringList{QStringLiteral("old_vxsvc_2.log")});
}

TEST_F(VXStatusMainVCTest, ListsTheLogsInTheFoldersOrder)
{
    for (int number = 20; number > 0; --number)
        logs_.write("vxsvc_" + std::to_string(number) + ".log", "");
    const auto names = contentsOfDirectory(logs_.path());
    ASSERT_TRUE(names);
    QStringList listed;
    for (const std::string& name : names.value())
        listed += QString::fromStdString(name);

    const VXStatusMainVC controller{dependencies()};

    EXPECT_EQ(controller.logFiles(), listed);
}

TEST_F(VXStatusMainVCTest, WatchesTheLogsAndThenTheirFolderAndTakesItsSnapshot)
{
    for (const char* name : {"vxsvc_1.log", "vxsvc_backup_1.log", "other.log"})
        logs_.write(name, "");
    VXStatusMainVC controller{dependencies()};

    controller.awakeFromNib();

    EXPECT_EQ(registrations({path("vxsvc_1.log"), path()}),
              (Registrations{{path("vxsvc_1.log"), 0x7F}, {path(), 0x7F}}));
    EXPECT_EQ(queue_->changes().size(), 2U);
    EXPECT_EQ(watcher_->watchedFileCount(), 2U);
    EXPECT_EQ(watcher_->filesinWatchedFolder(), contentsOfDirectory(logs_.path()).value());
}

TEST_F(VXStatusMainVCTest, WatchesTheLogsInTheOrderOfTheirListing)
{
    QStringList paths;
    for (int number = 0; number < 5; ++number)
        logs_.write("vxsvc_" + std::to_string(number) + ".log", "");
    VXStatusMainVC controller{dependencies()};
    Registrations expected;
    for (const QString& name : controller.logFiles()) {
        paths += path() + name;
        expected.emplace_back(paths.back(), 0x7FU);
    }

    controller.awakeFromNib();

    expected.emplace_back(path(), 0x7FU);
    EXPECT_EQ(registrations(paths + QStringList{path()}), expected);
}

TEST_F(VXStatusMainVCTest, WatchesTheFolderAndTheNewestLogsWhenThereIsNoRoomForAll)
{
    const auto now = std::filesystem::file_time_type::clock::now();
    for (int number = 0; number < 20; ++number) {
        const std::string name = "vxsvc_" + std::to_string(number) + ".log";
        logs_.write(name, "");
        std::filesystem::last_write_time(logs_.file(name),
                                         now + std::chrono::seconds{number * 7 % 20});
    }
    auto queue = std::make_unique<CrampedKernelQueue>(4);
    CrampedKernelQueue& cramped = *queue;
    watcher_ = std::make_unique<VXStatusQueueCentral>(
        std::move(queue), VXStatusQueueDependencies{.notifications = notifications_,
                                                    .workspace = workspace_,
                                                    .resources = resources_,
                                                    .pathReceiver = {},
                                                    .installation = installation_});
    VXStatusMainVC controller{dependencies()};

    controller.awakeFromNib();

    std::vector<int> expected;
    for (const QString& each :
         {path(), path("vxsvc_17.log"), path("vxsvc_14.log"), path("vxsvc_11.log")})
        expected.push_back(watcher_->entry(each)->watchedFD());
    EXPECT_EQ(cramped.watchedDescriptors(), expected);
    EXPECT_TRUE(watcher_->hasUnwatchedPaths());
}

TEST_F(VXStatusMainVCTest, WatchesAndCatchesUpOnceThereIsAWatcher)
{
    logs_.write("vxsvc_1.log", "");
    bool isThere = false;
    std::atomic<bool> isCaughtUp = false;
    const auto registration = notifications_.addObserver(
        QStringLiteral("VXStatusNotification"), nullptr, [&isCaughtUp](const Notification&) {
            isCaughtUp = true;
            MainQueue::post([] {});
        });
    VXStatusMainDependencies withDelay = dependencies();
    withDelay.fileWatcher = [&] { return isThere ? watcher_.get() : nullptr; };
    withDelay.retryInterval = std::chrono::milliseconds{10};
    VXStatusMainVC controller{withDelay};

    controller.awakeFromNib();
    runLoopFor(std::chrono::milliseconds{50});
    EXPECT_TRUE(queue_->changes().empty());
    isThere = true;

    EXPECT_TRUE(runLoopUntil([&] { return isCaughtUp.load(); }));
    EXPECT_EQ(watcher_->watchedFileCount(), 2U);
    watcher_->stop();
}

TEST_F(VXStatusMainVCTest, WatchesNothingBeforeItIsAwake)
{
    logs_.write("vxsvc_1.log", "");

    const VXStatusMainVC controller{dependencies()};

    EXPECT_TRUE(queue_->changes().empty());
    EXPECT_TRUE(watcher_->filesinWatchedFolder().empty());
}

TEST_F(VXStatusMainVCTest, WithoutALogFolderThereAreNoLogsAndNothingIsWatched)
{
    std::filesystem::remove_all(logs_.path());
    VXStatusMainVC controller{dependencies()};

    controller.awakeFromNib();

    EXPECT_TRUE(controller.logFiles().isEmpty());
    EXPECT_EQ(watcher_->watchedFileCount(), 0U);
    EXPECT_FALSE(watcher_->keepThreadRunning());
    EXPECT_TRUE(watcher_->filesinWatchedFolder().empty());
}

TEST_F(VXStatusMainVCTest, OfAFolderThatCannotBeListedOnlyTheFolderIsWatched)
{
    logs_.write("vxsvc_1.log", "");
    // A file can be opened and watched like the folder, but not listed.
    const AgentInstallation unlisted{.logFolder = logs_.file("vxsvc_1.log")};
    VXStatusMainVC controller{dependencies(unlisted)};

    controller.awakeFromNib();

    EXPECT_TRUE(controller.logFiles().isEmpty());
    EXPECT_EQ(registrations({path("vxsvc_1.log")}), (Registrations{{path("vxsvc_1.log"), 0x7F}}));
    EXPECT_EQ(watcher_->watchedFileCount(), 1U);
}

TEST_F(VXStatusMainVCTest, ALogThatCannotBeOpenedIsSkippedWithoutAMessage)
{
    logs_.write("vxsvc_1.log", "");
    std::filesystem::create_symlink("nowhere", logs_.file("vxsvc_2.log"));
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};
    VXStatusMainVC controller{dependencies()};

    controller.awakeFromNib();

    log.drain();
    EXPECT_EQ(controller.logFiles().size(), 2);
    EXPECT_EQ(watcher_->watchedFileCount(), 2U);
    EXPECT_FALSE(watcher_->entry(path("vxsvc_2.log")));
    EXPECT_TRUE(recording->messages().empty());
}

TEST_F(VXStatusMainVCTest, TheInitialPathIsTheNewestLogs)
{
    logs_.write("vxsvc_1.log", "");
    logs_.write("vxsvc_2.log", "");
    std::filesystem::last_write_time(logs_.file("vxsvc_1.log"),
                                     std::filesystem::file_time_type::clock::now() +
                                         std::chrono::hours{1});

    VXStatusMainVC controller{dependencies()};

    EXPECT_EQ(controller.initalFilePath(), path("vxsvc_1.log"));
    EXPECT_EQ(controller.property("initalFilePath").toString(), path("vxsvc_1.log"));
}

TEST_F(VXStatusMainVCTest, TheInitialPathOfAnEmptyFolderIsTheFolder)
{
    const VXStatusMainVC controller{dependencies()};

    EXPECT_EQ(controller.initalFilePath(), path());
    EXPECT_TRUE(controller.logFiles().isEmpty());
}

TEST_F(VXStatusMainVCTest, KeepsTheInitialPathThatIsSet)
{
    VXStatusMainVC controller{dependencies()};

    controller.setInitalFilePath(QStringLiteral("/some/log"));

    EXPECT_EQ(controller.initalFilePath(), QStringLiteral("/some/log"));
}

TEST_F(VXStatusMainVCTest, AddpathDoesNothingBeforeItIsAwake)
{
    logs_.write("vxsvc_1.log", "");
    VXStatusMainVC controller{dependencies()};

    controller.addpath(path("vxsvc_1.log"));

    EXPECT_EQ(watcher_->watchedFileCount(), 0U);
}

TEST_F(VXStatusMainVCTest, AddpathWatchesForEveryKindOfChangeOnceItIsAwake)
{
    VXStatusMainVC controller{dependencies()};
    controller.awakeFromNib();
    logs_.write("vxsvc_1.log", "");

    controller.addpath(path("vxsvc_1.log"));

    ASSERT_TRUE(watcher_->entry(path("vxsvc_1.log")));
    EXPECT_EQ(watcher_->entry(path("vxsvc_1.log"))->subscriptionFlags(), 0x7FU);
}

TEST_F(VXStatusMainVCTest, LivesWithoutAFileWatcher)
{
    logs_.write("vxsvc_1.log", "");
    auto without = dependencies();
    without.fileWatcher = [] { return nullptr; };
    VXStatusMainVC controller{without};

    controller.awakeFromNib();
    controller.addpath(path("vxsvc_1.log"));

    EXPECT_EQ(controller.logFiles(), QStringList{QStringLiteral("vxsvc_1.log")});
    EXPECT_EQ(watcher_->watchedFileCount(), 0U);
}

TEST_F(VXStatusMainVCTest, TheSharedOneIsAnotherAndTheSameEachTime)
{
    const VXStatusMainVC awake{dependencies()};

    VXStatusMainVC& shared = VXStatusMainVC::sharedVXStatusMainVC();

    EXPECT_NE(&shared, &awake);
    EXPECT_EQ(&VXStatusMainVC::sharedVXStatusMainVC(), &shared);
    EXPECT_TRUE(shared.initalFilePath().startsWith(u"/var/Veltra/agent/logs/"));
}

TEST_F(VXStatusMainVCTest, TheSharedOneIsTheSameForTwoThreadsThatAskAtOnce)
{
    std::barrier start{2};
    VXStatusMainVC* answers[2] = {};
    {
        const auto ask = [&start](VXStatusMainVC*& answer) {
            start.arrive_and_wait();
            answer = &VXStatusMainVC::sharedVXStatusMainVC();
        };
        const std::jthread first{[&] { ask(answers[0]); }};
        const std::jthread second{[&] { ask(answers[1]); }};
    }

    ASSERT_NE(answers[0], nullptr);
    EXPECT_EQ(answers[0], answers[1]);
}

TEST_F(VXStatusMainVCTest, AddpathOfTheSharedOneWatchesNothing)
{
    logs_.write("vxsvc_1.log", "");
    VXStatusQueueCentral* shared = VXStatusQueue::sharedFileWatcher();
    ASSERT_NE(shared, nullptr);

    VXStatusMainVC::sharedVXStatusMainVC().addpath(path("vxsvc_1.log"));

    EXPECT_EQ(shared->watchedFileCount(), 0U);
    EXPECT_FALSE(shared->keepThreadRunning());
}

} // namespace
} // namespace veltra
