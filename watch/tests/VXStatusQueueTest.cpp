#include "watch/VXStatusQueue.h"

#include "watch/tests/WatcherTesting.h"

namespace veltra {
namespace {

class RecordingDelegate : public VXStatusQueueDelegate {
  public:
    struct Call {
        const VXStatusQueue* watcher;
        QString name;
        QString path;

        bool operator==(const Call&) const = default;
    };

    void watcher(VXStatusQueue& watcher, const QString& receivedNotification,
                 const QString& forPath) override
    {
        calls.push_back({&watcher, receivedNotification, forPath});
        if (afterCall)
            afterCall();
    }

    std::vector<Call> calls;
    std::function<void()> afterCall;
};

class VXStatusQueueTest : public WatcherTest {
  protected:
    /// Makes the watcher post a notification about a path, on the main thread.
    void say(const QString& path, const QString& name = VXStatusFileWatcherDeleteNotification)
    {
        central_->postNotification(name, path);
    }

    /// The notifications that a view passed on, as text.
    [[nodiscard]] QStringList passedOnBy(const VXStatusQueue& view) const
    {
        QStringList words;
        for (const Happening& each : happenings())
            if (each.notification.object.value<QObject*>() == &view)
                words += each.inWords();
        return words;
    }

    [[nodiscard]] std::unique_ptr<VXStatusQueue> makeView()
    {
        return std::make_unique<VXStatusQueue>(*central_, notifications_,
                                               workspace_.notificationCenter());
    }

    RecordingDelegate delegate_;
    std::unique_ptr<VXStatusQueue> view_ = makeView();
    ~VXStatusQueueTest() override { view_.reset(); }
};

const QStringList deletedOnBoth{QStringLiteral("default VXStatusQueueFileDeletedNotification"),
                                QStringLiteral("workspace VXStatusQueueFileDeletedNotification")};

TEST_F(VXStatusQueueTest, AddPathHoldsThePathOnceForEveryKindOfChange)
{
    view_->addPath(log());

    const auto entry = central_->entry(log());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->pathRefCount(), 1U);
    EXPECT_EQ(entry->subscriptionFlags(), 0x7FU);
}

TEST_F(VXStatusQueueTest, ASecondAddPathNeitherWidensNorHoldsMore)
{
    view_->addPath(log(), 0x02);
    view_->addPath(log(), 0x7F);
    view_->addPath(log());

    const auto entry = central_->entry(log());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->subscriptionFlags(), 0x02U);
    EXPECT_EQ(entry->pathRefCount(), 1U);
    EXPECT_EQ(queue_->changes().size(), 1U);
}

TEST_F(VXStatusQueueTest, RemovePathReleasesOneHolder)
{
    const auto other = makeView();
    view_->addPath(log());
    other->addPath(log());

    view_->removePath(log());
    view_->removePath(log());

    const auto entry = central_->entry(log());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->pathRefCount(), 1U);
    other->removePath(log());
    EXPECT_FALSE(central_->entry(log()));
}

TEST_F(VXStatusQueueTest, RemovePathLeavesAPathAloneThatOthersRegistered)
{
    central_->addPath(log());

    view_->removePath(log());

    ASSERT_TRUE(central_->entry(log()));
    EXPECT_EQ(central_->entry(log())->pathRefCount(), 1U);
}

TEST_F(VXStatusQueueTest, APathThatWasRemovedCanBeAddedAgain)
{
    view_->addPath(log(), 0x02);
    view_->removePath(log());

    view_->addPath(log(), 0x04);

    ASSERT_TRUE(central_->entry(log()));
    EXPECT_EQ(central_->entry(log())->subscriptionFlags(), 0x04U);
}

TEST_F(VXStatusQueueTest, RemoveAllPathsLeavesOtherHolders)
{
    const QString folder = QString::fromStdString(logs_.path());
    central_->addPath(log());
    view_->addPath(log());
    view_->addPath(folder);

    view_->removeAllPaths();

    ASSERT_TRUE(central_->entry(log()));
    EXPECT_EQ(central_->entry(log())->pathRefCount(), 1U);
    EXPECT_FALSE(central_->entry(folder));
}

TEST_F(VXStatusQueueTest, RemoveAllPathsForgetsThePaths)
{
    view_->addPath(log());
    view_->removeAllPaths();
    central_->addPath(log());

    view_->removeAllPaths();
    say(log());

    EXPECT_EQ(central_->entry(log())->pathRefCount(), 1U);
    EXPECT_EQ(passedOnBy(*view_), QStringList{});
}

TEST_F(VXStatusQueueTest, APathThatCouldNotBeOpenedCountsAsAdded)
{
    view_->addPath(log("late"));
    logs_.write("late", "");

    view_->addPath(log("late"));
    say(log("late"));

    EXPECT_FALSE(central_->entry(log("late")));
    EXPECT_EQ(passedOnBy(*view_), deletedOnBoth);
}

TEST_F(VXStatusQueueTest, APathThatCouldNotBeOpenedCanBeRemovedAndAddedAgain)
{
    view_->addPath(log("late"));
    logs_.write("late", "");

    view_->removePath(log("late"));
    view_->addPath(log("late"));

    EXPECT_TRUE(central_->entry(log("late")));
}

TEST_F(VXStatusQueueTest, RemoveAllPathsPassesOverPathsThatCouldNotBeOpened)
{
    view_->addPath(log("late"));
    view_->addPath(log());
    logs_.write("late", "");
    central_->addPath(log("late"));

    view_->removeAllPaths();

    EXPECT_TRUE(central_->entry(log("late")));
    EXPECT_FALSE(central_->entry(log()));
}

TEST_F(VXStatusQueueTest, WithoutADelegateANotificationIsPassedOn)
{
    view_->addPath(log());

    say(log());

    EXPECT_EQ(passedOnBy(*view_), deletedOnBoth);
}

TEST_F(VXStatusQueueTest, WithoutADelegateAlwaysNotifyChangesNothing)
{
    view_->setAlwaysNotify(true);
    view_->addPath(log());

    say(log());

    EXPECT_EQ(passedOnBy(*view_), deletedOnBoth);
}

TEST_F(VXStatusQueueTest, ADelegateKeepsANotificationToItself)
{
    view_->setDelegate(&delegate_);
    view_->addPath(log());

    say(log());

    EXPECT_EQ(delegate_.calls, (std::vector<RecordingDelegate::Call>{
                                   {view_.get(), VXStatusFileWatcherDeleteNotification, log()}}));
    EXPECT_EQ(passedOnBy(*view_), QStringList{});
}

TEST_F(VXStatusQueueTest, ADelegateAndAlwaysNotifyBothHappen)
{
    view_->setDelegate(&delegate_);
    view_->setAlwaysNotify(true);
    view_->addPath(log());

    say(log());

    EXPECT_EQ(delegate_.calls.size(), 1U);
    EXPECT_EQ(passedOnBy(*view_), deletedOnBoth);
}

TEST_F(VXStatusQueueTest, ADelegateIsToldBeforeTheNotificationIsPassedOn)
{
    view_->setDelegate(&delegate_);
    view_->setAlwaysNotify(true);
    view_->addPath(log());
    std::size_t passedOnAtCall = 99;
    delegate_.afterCall = [&] {
        passedOnAtCall = static_cast<std::size_t>(passedOnBy(*view_).size());
    };

    say(log());

    EXPECT_EQ(passedOnAtCall, 0U);
}

TEST_F(VXStatusQueueTest, ADelegateThatTakesItsLeaveLetsTheNotificationPass)
{
    view_->setDelegate(&delegate_);
    view_->addPath(log());
    delegate_.afterCall = [this] { view_->setDelegate(nullptr); };

    say(log());

    EXPECT_EQ(delegate_.calls.size(), 1U);
    EXPECT_EQ(passedOnBy(*view_), deletedOnBoth);
}

TEST_F(VXStatusQueueTest, WhatIsPassedOnHasTheViewAsObjectAndTheSameUserInfo)
{
    view_->addPath(log());

    say(log());

    // The watcher's own on the default centre, with the two passed on inside it or directly after
    // it.
    std::size_t passedOn = 0;
    for (const Happening& each : happenings()) {
        EXPECT_EQ(each.notification.userInfo, (QVariantMap{{QStringLiteral("path"), log()}}));
        EXPECT_TRUE(each.isOnMainThread);
        passedOn += each.notification.object.value<QObject*>() == view_.get() ? 1 : 0;
    }
    EXPECT_EQ(passedOn, 2U);
}

TEST_F(VXStatusQueueTest, HearsAllSevenNotifications)
{
    view_->setDelegate(&delegate_);
    view_->addPath(log());

    for (const auto& [note, name] : watcherNotifications())
        say(log(), name);

    ASSERT_EQ(delegate_.calls.size(), 7U);
    for (std::size_t index = 0; index < 7; ++index)
        EXPECT_EQ(delegate_.calls[index].name, watcherNotifications()[index].name);
}

TEST_F(VXStatusQueueTest, IgnoresPathsThatItDidNotRegister)
{
    view_->setDelegate(&delegate_);
    view_->setAlwaysNotify(true);
    central_->addPath(log());

    say(log());

    EXPECT_TRUE(delegate_.calls.empty());
    EXPECT_EQ(passedOnBy(*view_), QStringList{});
}

TEST_F(VXStatusQueueTest, HearsOnlyTheWatcher)
{
    const auto other = makeView();
    view_->setDelegate(&delegate_);
    view_->addPath(log());
    other->addPath(log());
    const QVariantMap userInfo{{QStringLiteral("path"), log()}};

    notifications_.postNotificationName(VXStatusFileWatcherDeleteNotification, {}, userInfo);
    notifications_.postNotificationName(VXStatusFileWatcherDeleteNotification,
                                        QVariant::fromValue<QObject*>(other.get()), userInfo);

    EXPECT_TRUE(delegate_.calls.empty());
}

TEST_F(VXStatusQueueTest, HearsEventsOfTheKernelThroughTheWatcher)
{
    view_->setDelegate(&delegate_);
    view_->addPath(log());

    post(log(), NOTE_RENAME | NOTE_DELETE);
    settle();

    EXPECT_EQ(delegate_.calls, (std::vector<RecordingDelegate::Call>{
                                   {view_.get(), VXStatusFileWatcherRenameNotification, log()},
                                   {view_.get(), VXStatusFileWatcherDeleteNotification, log()}}));
}

TEST_F(VXStatusQueueTest, HasNoDelegateAndDoesNotAlwaysNotifyAtFirst)
{
    EXPECT_EQ(view_->delegate(), nullptr);
    EXPECT_FALSE(view_->alwaysNotify());

    view_->setDelegate(&delegate_);
    view_->setAlwaysNotify(true);

    EXPECT_EQ(view_->delegate(), &delegate_);
    EXPECT_TRUE(view_->alwaysNotify());
}

TEST_F(VXStatusQueueTest, ItsFilePathIsAlwaysTheSameWord)
{
    view_->addPath(log());

    EXPECT_EQ(view_->getfilepath(), QStringLiteral("test"));
}

TEST_F(VXStatusQueueTest, ItsDescriptorIsTheWatchers)
{
    EXPECT_EQ(view_->queueFD(), central_->queueFD());
}

TEST_F(VXStatusQueueTest, AddFolerPathIsTheWatchers)
{
    view_->addFolerPath(QStringLiteral("/"));

    EXPECT_EQ(central_->filesinWatchedFolder(), std::vector<std::string>{"vxsvc_1.log"});
    EXPECT_TRUE(queue_->changes().empty());
}

TEST_F(VXStatusQueueTest, ItsEndReleasesItsPathsAndEndsItsListening)
{
    central_->addPath(log());
    view_->setDelegate(&delegate_);
    view_->addPath(log());
    view_->addPath(QString::fromStdString(logs_.path()));

    view_.reset();
    say(log());

    EXPECT_TRUE(delegate_.calls.empty());
    EXPECT_EQ(central_->watchedFileCount(), 1U);
    EXPECT_EQ(central_->entry(log())->pathRefCount(), 1U);
}

} // namespace
} // namespace veltra
