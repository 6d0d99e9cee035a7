// What the watcher's thread makes of the kernel's events.

#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"
#include "watch/VXStatusQueueCentral.h"
#include "watch/tests/ScriptedKernelQueue.h"
#include "watch/tests/WatcherTesting.h"

#include <stdexcept>

namespace veltra {
namespace {

/// A watcher of the only log; what the process logs is recorded.
class WatcherThreadTest : public WatcherTest {
  protected:
    WatcherThreadTest() { central_->addPath(log()); }
    ~WatcherThreadTest() override { central_.reset(); }

    [[nodiscard]] std::vector<std::string> logged()
    {
        systemLog_.drain();
        return recording_->messages();
    }

    /// What the watcher does about one event, in words.
    [[nodiscard]] QStringList reactionTo(std::uint32_t notes)
    {
        post(log(), notes);
        settle();
        return inWords();
    }

    [[nodiscard]] QString noted() const { return QStringLiteral("noted ") + log(); }

    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
    SystemLog systemLog_{Recording::sink(recording_)};
    SystemLog::Redirection redirection_{systemLog_};
};

QStringList onBothCentres(const char16_t* name)
{
    return {QStringLiteral("default ") + QString::fromUtf16(name),
            QStringLiteral("workspace ") + QString::fromUtf16(name)};
}
const QStringList newestLog{QStringLiteral("default VXStatusNotification")};

TEST_F(WatcherThreadTest, AWriteAndAGrowthInOneEventAreWorkedThroughInOrder)
{
    const auto words = reactionTo(NOTE_WRITE | NOTE_EXTEND);

    const QStringList expected =
        QStringList{noted()} + onBothCentres(u"VXStatusQueueFileWrittenToNotification") +
        newestLog + QStringList{QStringLiteral("addpath ") + log()} +
        onBothCentres(u"VXStatusQueueFileSizeIncreasedNotification") + newestLog;
    EXPECT_EQ(words, expected);
}

TEST_F(WatcherThreadTest, AllSevenBitsOfOneEventAreWorkedThroughInTheFixedOrder)
{
    const auto words = reactionTo(0x7F);

    const QStringList expected =
        QStringList{noted()} + onBothCentres(u"VXStatusQueueFileRenamedNotification") +
        onBothCentres(u"VXStatusQueueFileWrittenToNotification") + newestLog +
        QStringList{QStringLiteral("addpath ") + log()} +
        onBothCentres(u"VXStatusQueueFileDeletedNotification") +
        onBothCentres(u"VXStatusQueueFileAttributesChangedNotification") +
        onBothCentres(u"VXStatusQueueFileSizeIncreasedNotification") + newestLog +
        onBothCentres(u"VXStatusQueueFileLinkCountChangedNotification") +
        onBothCentres(u"VXStatusQueueFileAccessRevocationNotification");
    EXPECT_EQ(words, expected);
}

TEST_F(WatcherThreadTest, AWriteAloneAnnouncesTheNewestLogAndHandsItOn)
{
    EXPECT_EQ(reactionTo(0x02), QStringList{noted()} +
                                    onBothCentres(u"VXStatusQueueFileWrittenToNotification") +
                                    newestLog + QStringList{QStringLiteral("addpath ") + log()});
}

TEST_F(WatcherThreadTest, AGrowthAloneAnnouncesTheNewestLogButDoesNotHandItOn)
{
    EXPECT_EQ(reactionTo(0x04), QStringList{noted()} +
                                    onBothCentres(u"VXStatusQueueFileSizeIncreasedNotification") +
                                    newestLog);
}

TEST_F(WatcherThreadTest, ADeletionAloneSaysOnlyThatAndTheFileStaysInTheTable)
{
    const auto entry = central_->entry(log());

    const auto words = reactionTo(0x01);

    EXPECT_EQ(words, QStringList{noted()} + onBothCentres(u"VXStatusQueueFileDeletedNotification"));
    EXPECT_EQ(central_->entry(log()), entry);
    EXPECT_EQ(entry->pathRefCount(), 1U);
}

TEST_F(WatcherThreadTest, ARenameAnAttributeALinkAndARevocationEachSayOnlyThat)
{
    const std::pair<std::uint32_t, const char16_t*> notes[] = {
        {0x20, u"VXStatusQueueFileRenamedNotification"},
        {0x08, u"VXStatusQueueFileAttributesChangedNotification"},
        {0x10, u"VXStatusQueueFileLinkCountChangedNotification"},
        {0x40, u"VXStatusQueueFileAccessRevocationNotification"}};
    QStringList expected;
    for (const auto& [note, name] : notes) {
        post(log(), note);
        settle();
        expected += QStringList{noted()} + onBothCentres(name);
    }

    EXPECT_EQ(inWords(), expected);
}

TEST_F(WatcherThreadTest, BothCentresGetEachFileNotificationOnTheMainThreadFromTheWatcher)
{
    post(log(), NOTE_ATTRIB);
    settle();

    const auto all = happenings();
    ASSERT_EQ(all.size(), 3U);
    for (const auto& each : {all[1], all[2]}) {
        EXPECT_TRUE(each.isOnMainThread);
        EXPECT_EQ(each.notification.object.value<QObject*>(), central_.get());
        EXPECT_EQ(each.notification.userInfo, (QVariantMap{{QStringLiteral("path"), log()}}));
    }
}

TEST_F(WatcherThreadTest, TheNewestLogIsAnnouncedOnTheWatcherThreadWithTheDictionaryAsObject)
{
    post(log(), NOTE_EXTEND);
    settle();

    const auto all = happenings();
    ASSERT_EQ(all.size(), 4U);
    const Happening& announced = all[3];
    EXPECT_EQ(announced.inWords(), QStringLiteral("default VXStatusNotification"));
    EXPECT_FALSE(announced.isOnMainThread);
    EXPECT_EQ(announced.notification.object,
              (QVariantMap{{QStringLiteral("newLogFilePath"), log()}}));
    EXPECT_TRUE(announced.notification.userInfo.isEmpty());
}

TEST_F(WatcherThreadTest, EveryEventIsHandledByTheOneThread)
{
    for (int round = 0; round < 3; ++round) {
        post(log(), NOTE_WRITE);
        settle();
    }

    const auto all = happenings();
    ASSERT_EQ(all.size(), 15U);
    for (const Happening& each : all) {
        EXPECT_EQ(each.isOnMainThread, each.where != u"noted" && each.where != u"addpath" &&
                                           each.notification.name != logNotification);
        if (!each.isOnMainThread) {
            EXPECT_EQ(each.thread, all.front().thread);
        }
    }
}

TEST_F(WatcherThreadTest, AnotherLogsWriteAnnouncesTheNewestOneAllTheSame)
{
    makeLog("vxsvc_2.log", 60);

    post(log(), NOTE_WRITE);
    settle();

    const auto all = happenings();
    ASSERT_EQ(all.size(), 5U);
    EXPECT_EQ(all[1].path(), log());
    EXPECT_EQ(all[3].notification.object.toMap().value(QStringLiteral("newLogFilePath")),
              log("vxsvc_2.log"));
    EXPECT_EQ(all[4].inWords(), QStringLiteral("addpath ") + log("vxsvc_2.log"));
}

TEST_F(WatcherThreadTest, TheNewestLogIsLookedForOnceForTheWriteAndOnceForTheGrowth)
{
    const auto registration =
        notifications_.addObserver(VXStatusFileWatcherSizeIncreaseNotification, nullptr,
                                   [this](const Notification&) { makeLog("vxsvc_2.log", 60); });
    post(log(), NOTE_WRITE | NOTE_EXTEND);
    settle();

    QVariantList announced;
    for (const Happening& each : happenings())
        if (each.notification.name == logNotification)
            announced += each.notification.object.toMap().value(QStringLiteral("newLogFilePath"));
    EXPECT_EQ(announced, (QVariantList{log(), log("vxsvc_2.log")}));
}

TEST_F(WatcherThreadTest, ALogFolderThatCannotBeListedIsLoggedAndTheBareFolderAnnounced)
{
    std::filesystem::remove_all(logs_.path());

    post(log(), NOTE_EXTEND);
    settle();

    const auto all = happenings();
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[3].notification.object.toMap().value(QStringLiteral("newLogFilePath")),
              QString::fromStdString(logs_.path() + "/"));
    const auto messages = logged();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_TRUE(messages[0].starts_with("Error in reading files: ")) << messages[0];
}

TEST_F(WatcherThreadTest, EventsOfSeveralPathsAreHandledOneAfterTheOther)
{
    const QString folder = QString::fromStdString(logs_.path() + "/");
    central_->addPath(folder);

    post(folder, NOTE_ATTRIB);
    post(log(), NOTE_LINK);
    settle();

    EXPECT_EQ(inWords(), QStringList{QStringLiteral("noted ") + folder} +
                             onBothCentres(u"VXStatusQueueFileAttributesChangedNotification") +
                             QStringList{noted()} +
                             onBothCentres(u"VXStatusQueueFileLinkCountChangedNotification"));
}

TEST_F(WatcherThreadTest, NothingIsSaidAboutAPathThatIsWatchedNoMore)
{
    const int descriptor = central_->entry(log())->watchedFD();
    central_->removePath(log());

    queue_->post(descriptor, 0x7F);
    settle();

    EXPECT_EQ(inWords(), QStringList{});
}

TEST_F(WatcherThreadTest, AnEventUnderWayOutlivesTheRemovalOfItsPath)
{
    const auto registration =
        notifications_.addObserver(VXStatusFileWatcherRenameNotification, nullptr,
                                   [this](const Notification&) { central_->removePath(log()); });

    post(log(), NOTE_RENAME | NOTE_REVOKE);
    settle();

    EXPECT_EQ(inWords(), QStringList{noted()} +
                             onBothCentres(u"VXStatusQueueFileRenamedNotification") +
                             onBothCentres(u"VXStatusQueueFileAccessRevocationNotification"));
    EXPECT_FALSE(central_->entry(log()));
}

TEST_F(WatcherThreadTest, AnObserverThatThrowsOnTheMainThreadIsLoggedAndTheNextEventHandled)
{
    const auto registration = notifications_.addObserver(
        VXStatusFileWatcherDeleteNotification, nullptr,
        [](const Notification&) { throw std::runtime_error{"no such thing"}; });

    post(log(), NOTE_DELETE | NOTE_LINK);
    settle();
    post(log(), NOTE_ATTRIB);
    settle();

    EXPECT_EQ(logged(),
              std::vector<std::string>{"Error in VXStatusQueue watcherThread: no such thing"});
    EXPECT_EQ(inWords(),
              (QStringList{noted(), QStringLiteral("default VXStatusQueueFileDeletedNotification"),
                           noted()} +
               onBothCentres(u"VXStatusQueueFileAttributesChangedNotification")));
}

TEST_F(WatcherThreadTest, AnObserverThatThrowsOnTheWatcherThreadIsLoggedAndTheNextEventHandled)
{
    const auto registration =
        notifications_.addObserver(logNotification, nullptr, [](const Notification&) {
            throw std::out_of_range{"no such row"};
        });

    post(log(), NOTE_WRITE | NOTE_EXTEND);
    settle();
    const auto before = inWords();
    post(log(), NOTE_REVOKE);
    settle();

    EXPECT_EQ(logged(),
              std::vector<std::string>{"Error in VXStatusQueue watcherThread: no such row"});
    EXPECT_EQ(inWords().mid(before.size()),
              QStringList{noted()} +
                  onBothCentres(u"VXStatusQueueFileAccessRevocationNotification"));
}

TEST_F(WatcherThreadTest, AWaitThatThrowsIsLoggedAndAFailedOnePassedOver)
{
    auto owned = std::make_unique<ScriptedKernelQueue>();
    ScriptedKernelQueue& queue = *owned;
    VXStatusQueueCentral central{std::move(owned), dependencies()};
    const auto entry = central.addPathToQueue(log(), 0x7F);

    queue.add([]() -> std::optional<KernelQueue::Event> { throw std::runtime_error{"no wait"}; });
    queue.add([] { return std::nullopt; });
    queue.add([entry] { return KernelQueue::Event{.fflags = NOTE_REVOKE, .udata = entry}; });
    const bool isHandled = runLoopUntil([this] { return happenings().size() >= 3; });

    EXPECT_TRUE(isHandled);
    EXPECT_EQ(logged(), std::vector<std::string>{"Error in VXStatusQueue watcherThread: no wait"});
    EXPECT_EQ(inWords(), QStringList{noted()} +
                             onBothCentres(u"VXStatusQueueFileAccessRevocationNotification"));
}

TEST_F(WatcherThreadTest, APauseIsMadeAfterEveryWaitThatFails)
{
    auto owned = std::make_unique<ScriptedKernelQueue>();
    ScriptedKernelQueue& queue = *owned;
    VXStatusQueueCentral central{std::move(owned), dependencies()};
    const auto entry = central.addPathToQueue(log(), 0x7F);
    using Clock = std::chrono::steady_clock;
    std::vector<Clock::time_point> failures;
    for (int i = 0; i < 3; ++i)
        queue.add([&failures]() -> std::optional<KernelQueue::Event> {
            failures.push_back(Clock::now());
            return std::nullopt;
        });

    queue.add([entry] { return KernelQueue::Event{.fflags = NOTE_REVOKE, .udata = entry}; });
    const bool isHandled = runLoopUntil([this] { return happenings().size() >= 3; });

    EXPECT_TRUE(isHandled);
    ASSERT_EQ(failures.size(), 3U);
    EXPECT_GE(failures[1] - failures[0], std::chrono::milliseconds{100});
    EXPECT_GE(failures[2] - failures[1], std::chrono::milliseconds{100});
}

TEST_F(WatcherThreadTest, AnEventOfAnotherFilterOrWithoutBitsIsPassedOver)
{
    auto owned = std::make_unique<ScriptedKernelQueue>();
    ScriptedKernelQueue& queue = *owned;
    VXStatusQueueCentral central{std::move(owned), dependencies()};
    const auto entry = central.addPathToQueue(log(), 0x7F);

    queue.add([entry] {
        return KernelQueue::Event{.filter = -5, .fflags = NOTE_DELETE, .udata = entry};
    });
    queue.add([entry] { return KernelQueue::Event{.fflags = 0, .udata = entry}; });
    queue.add([entry] { return KernelQueue::Event{.fflags = NOTE_LINK, .udata = entry}; });
    const bool isHandled = runLoopUntil([this] { return happenings().size() >= 3; });

    EXPECT_TRUE(isHandled);
    EXPECT_EQ(inWords(), QStringList{noted()} +
                             onBothCentres(u"VXStatusQueueFileLinkCountChangedNotification"));
}

TEST_F(WatcherThreadTest, PostNotificationOfTheMainThreadReachesBothCentresAtOnce)
{
    central_->postNotification(VXStatusFileWatcherLinkCountChangeNotification,
                               QStringLiteral("/some/path"));

    const auto all = happenings();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].where, QStringLiteral("default"));
    EXPECT_EQ(all[1].where, QStringLiteral("workspace"));
    for (const Happening& each : all) {
        EXPECT_EQ(each.path(), QStringLiteral("/some/path"));
        EXPECT_EQ(each.notification.object.value<QObject*>(), central_.get());
    }
}

TEST(WatcherNotifications, CarryTheTextsThatOthersListenTo)
{
    const std::pair<QString, const char*> texts[] = {
        {VXStatusFileWatcherRenameNotification, "VXStatusQueueFileRenamedNotification"},
        {VXStatusFileWatcherWriteNotification, "VXStatusQueueFileWrittenToNotification"},
        {VXStatusFileWatcherDeleteNotification, "VXStatusQueueFileDeletedNotification"},
        {VXStatusFileWatcherAttributeChangeNotification,
         "VXStatusQueueFileAttributesChangedNotification"},
        {VXStatusFileWatcherSizeIncreaseNotification, "VXStatusQueueFileSizeIncreasedNotification"},
        {VXStatusFileWatcherLinkCountChangeNotification,
         "VXStatusQueueFileLinkCountChangedNotification"},
        {VXStatusFileWatcherAccessRevocationNotification,
         "VXStatusQueueFileAccessRevocationNotification"}};

    for (const auto& [constant, text] : texts)
        EXPECT_EQ(constant.toStdString(), text);
}

} // namespace
} // namespace veltra
