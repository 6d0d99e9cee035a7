#include "watch/VXStatusQueueCentral.h"

#include "watch/tests/ScriptedKernelQueue.h"
#include "watch/tests/WatcherTesting.h"

#include <sys/resource.h>

namespace veltra {
namespace {

using Changes = std::vector<FakeKernelQueue::Change>;
using VXStatusQueueCentralTest = WatcherTest;

TEST_F(VXStatusQueueCentralTest, TheSamePathTwiceIsOneEntryWithTwoHoldersAndOneRegistration)
{
    const auto first = central_->addPathToQueue(log(), 0x7F);
    const auto second = central_->addPathToQueue(log(), 0x7F);

    EXPECT_EQ(first, second);
    EXPECT_EQ(central_->watchedFileCount(), 1U);
    EXPECT_EQ(first->pathRefCount(), 2U);
    EXPECT_EQ(queue_->changes(), (Changes{{first->watchedFD(), 0x7F}}));
}

TEST_F(VXStatusQueueCentralTest, APathStaysWatchedUntilItsLastHolderIsGone)
{
    central_->addPath(log());
    central_->addPath(log());
    const int descriptor = central_->entry(log())->watchedFD();

    central_->removePath(log());
    const bool isWatchedAfterOne = central_->entry(log()) != nullptr;
    const auto watchesAfterOne = queue_->watchedDescriptors();
    central_->removePath(log());

    EXPECT_TRUE(isWatchedAfterOne);
    EXPECT_EQ(watchesAfterOne, std::vector{descriptor});
    EXPECT_EQ(central_->watchedFileCount(), 0U);
    EXPECT_TRUE(queue_->watchedDescriptors().empty());
    EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(VXStatusQueueCentralTest, AWiderRequestRegistersTheSameDescriptorForBoth)
{
    const auto entry = central_->addPathToQueue(log(), 0x02);
    const auto again = central_->addPathToQueue(log(), 0x04);

    EXPECT_EQ(again, entry);
    EXPECT_EQ(entry->subscriptionFlags(), 0x06U);
    EXPECT_EQ(entry->pathRefCount(), 2U);
    EXPECT_EQ(queue_->changes(), (Changes{{entry->watchedFD(), 0x02}, {entry->watchedFD(), 0x06}}));
    EXPECT_EQ(queue_->watchedDescriptors(), std::vector{entry->watchedFD()});
}

TEST_F(VXStatusQueueCentralTest, ARequestThatIsPartlyCoveredAddsWhatIsMissing)
{
    const auto entry = central_->addPathToQueue(log(), 0x03);
    central_->addPathToQueue(log(), 0x06);

    EXPECT_EQ(entry->subscriptionFlags(), 0x07U);
    EXPECT_EQ(queue_->changes().back().fflags, 0x07U);
}

TEST_F(VXStatusQueueCentralTest, ACoveredRequestIsOneMoreHolderAndNoKernelCall)
{
    const auto entry = central_->addPathToQueue(log(), 0x7F);
    const auto again = central_->addPathToQueue(log(), 0x02);

    EXPECT_EQ(again, entry);
    EXPECT_EQ(entry->pathRefCount(), 2U);
    EXPECT_EQ(entry->subscriptionFlags(), 0x7FU);
    EXPECT_EQ(queue_->changes().size(), 1U);
}

TEST_F(VXStatusQueueCentralTest, AddPathAsksForEveryKindOfChangeUnlessTold)
{
    central_->addPath(log());
    central_->addPath(QString::fromStdString(logs_.path()), 0x02);

    ASSERT_EQ(queue_->changes().size(), 2U);
    EXPECT_EQ(queue_->changes()[0].fflags, 0x7FU);
    EXPECT_EQ(queue_->changes()[1].fflags, 0x02U);
}

TEST_F(VXStatusQueueCentralTest, APathThatDoesNotExistIsNoneAndStartsNoThread)
{
    const auto threads = threadCount();

    const auto entry = central_->addPathToQueue(log("missing"), 0x7F);

    EXPECT_FALSE(entry);
    EXPECT_EQ(central_->watchedFileCount(), 0U);
    EXPECT_TRUE(queue_->changes().empty());
    EXPECT_FALSE(central_->keepThreadRunning());
    EXPECT_EQ(threadCount(), threads);
}

TEST_F(VXStatusQueueCentralTest, ItsThreadStartsOnceWithTheFirstPathThatCanBeOpened)
{
    const bool isRunningAtFirst = central_->keepThreadRunning();
    const auto threads = threadCount();

    central_->addPath(log("missing"));
    central_->addPath(log());
    central_->addPath(QString::fromStdString(logs_.path()));
    central_->addPath(log(), 0x02);

    EXPECT_FALSE(isRunningAtFirst);
    EXPECT_TRUE(central_->keepThreadRunning());
    EXPECT_EQ(threadCount(), threads + 1);
}

TEST_F(VXStatusQueueCentralTest, GoesOnRunningWhenNothingIsWatchedAnyMore)
{
    central_->addPath(log());
    central_->removePath(log());

    EXPECT_TRUE(central_->keepThreadRunning());
    settle();
}

TEST_F(VXStatusQueueCentralTest, RemovingAPathThatIsNotWatchedDoesNothing)
{
    central_->addPath(log());

    central_->removePath(log("other"));
    central_->removePath(QString{});

    EXPECT_EQ(central_->watchedFileCount(), 1U);
    EXPECT_EQ(central_->entry(log())->pathRefCount(), 1U);
}

TEST_F(VXStatusQueueCentralTest, RemoveAllPathsAsksNobodyWhoStillHoldsThem)
{
    central_->addPath(log());
    central_->addPath(log());
    central_->addPath(QString::fromStdString(logs_.path()));
    const int descriptor = central_->entry(log())->watchedFD();

    central_->removeAllPaths();

    EXPECT_EQ(central_->watchedFileCount(), 0U);
    EXPECT_TRUE(queue_->watchedDescriptors().empty());
    EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(VXStatusQueueCentralTest, APathThatCameBackIsHeldOnceAgain)
{
    central_->addPath(log());
    central_->addPath(log());
    central_->removeAllPaths();

    const auto entry = central_->addPathToQueue(log(), 0x02);

    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->pathRefCount(), 1U);
    EXPECT_EQ(entry->subscriptionFlags(), 0x02U);
    EXPECT_EQ(queue_->watchedDescriptors(), std::vector{entry->watchedFD()});
}

TEST_F(VXStatusQueueCentralTest, APathThatTheKernelWillNotWatchIsKeptAllTheSame)
{
    VXStatusQueueCentral central{std::make_unique<ScriptedKernelQueue>(), dependencies()};

    const auto entry = central.addPathToQueue(log(), 0x7F);

    ASSERT_TRUE(entry);
    EXPECT_EQ(central.entry(log()), entry);
    EXPECT_TRUE(central.keepThreadRunning());
}

TEST_F(VXStatusQueueCentralTest, AddFolerPathListsTheLogFolderWhateverItIsGiven)
{
    logs_.write("other.log", "");

    central_->addFolerPath(QString::fromStdString(elsewhere_.path()));

    auto names = central_->filesinWatchedFolder();
    std::ranges::sort(names);
    EXPECT_EQ(names, (std::vector<std::string>{"other.log", "vxsvc_1.log"}));
}

TEST_F(VXStatusQueueCentralTest, AddFolerPathWatchesNothing)
{
    central_->addFolerPath(QString::fromStdString(logs_.path()));

    EXPECT_TRUE(queue_->changes().empty());
    EXPECT_EQ(central_->watchedFileCount(), 0U);
    EXPECT_FALSE(central_->keepThreadRunning());
}

TEST_F(VXStatusQueueCentralTest, AddFolerPathReplacesTheEarlierSnapshot)
{
    central_->addFolerPath(QString{});
    std::filesystem::remove(logs_.file("vxsvc_1.log"));
    logs_.write("vxsvc_2.log", "");

    central_->addFolerPath(QString{});

    EXPECT_EQ(central_->filesinWatchedFolder(), std::vector<std::string>{"vxsvc_2.log"});
}

TEST_F(VXStatusQueueCentralTest, TheSnapshotOfAFolderThatCannotBeListedIsEmpty)
{
    const auto atFirst = central_->filesinWatchedFolder();
    central_->addFolerPath(QString{});
    ASSERT_FALSE(central_->filesinWatchedFolder().empty());
    std::filesystem::remove_all(logs_.path());

    central_->addFolerPath(QString{});

    EXPECT_TRUE(atFirst.empty());
    EXPECT_TRUE(central_->filesinWatchedFolder().empty());
}

TEST_F(VXStatusQueueCentralTest, DescribesItselfFromTheMarginAtIndentNull)
{
    const QString text = central_->descriptionWithLocale(QString{}, 0);

    EXPECT_TRUE(text.startsWith(u"VXStatusQueueCentral{watchedFiles = ")) << text.toStdString();
    EXPECT_TRUE(text.endsWith(u'}'));
    EXPECT_FALSE(text.contains(u'\n'));
}

TEST_F(VXStatusQueueCentralTest, DescribesItselfWithFourSpacesForEachLevelOfIndent)
{
    central_->addPath(log());

    for (const int indent : {1, 2}) {
        const QString margin{4 * indent, u' '};
        const QString text = central_->descriptionWithLocale(QStringLiteral("en_US"), indent);

        EXPECT_TRUE(text.startsWith(margin + QStringLiteral("VXStatusQueueCentral") + margin +
                                    u'{' + margin + QStringLiteral("watchedFiles = ")))
            << text.toStdString();
        EXPECT_TRUE(text.endsWith(margin + u'}')) << text.toStdString();
        EXPECT_TRUE(text.contains(log())) << text.toStdString();
        EXPECT_FALSE(text.contains(u'\n'));
    }
}

TEST_F(VXStatusQueueCentralTest, DescribesPathsOfEveryNameInOneLineAndUnchanged)
{
    const std::string names[] = {"vxsvc_%1%2.log", "vxsvc_\n\r\u2028.log"};
    for (const std::string& name : names) {
        logs_.write(name, "");
        central_->addPath(log(name));
    }

    const QString text = central_->descriptionWithLocale(QString{}, 1);

    EXPECT_TRUE(text.contains(u"vxsvc_%1%2.log")) << text.toStdString();
    EXPECT_FALSE(text.contains(u'\n'));
    EXPECT_FALSE(text.contains(u'\r'));
    EXPECT_FALSE(text.contains(u'\u2028'));
}

TEST_F(VXStatusQueueCentralTest, ItsDescriptorIsTheQueues)
{
    EXPECT_EQ(central_->queueFD(), queue_->descriptor());
}

TEST_F(VXStatusQueueCentralTest, OpensAKernelQueueOfItsOwn)
{
    const auto central = VXStatusQueueCentral::init(dependencies());

    ASSERT_TRUE(central);
    EXPECT_TRUE(isOpen(central->queueFD()));
    EXPECT_FALSE(central->keepThreadRunning());
}

TEST_F(VXStatusQueueCentralTest, IsNoneWhenTheKernelHasNoQueueToGive)
{
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit none = limit;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);

    const auto central = VXStatusQueueCentral::init(dependencies());

    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_FALSE(central);
}

TEST_F(VXStatusQueueCentralTest, PathsAreAddedAndRemovedFromSeveralThreads)
{
    const auto addAndRemove = [this] {
        for (int round = 0; round < 300; ++round) {
            central_->addPath(log(), 1U << (round % 7));
            central_->removePath(log());
        }
    };

    {
        const std::jthread one{addAndRemove};
        const std::jthread other{addAndRemove};
    }

    EXPECT_EQ(central_->watchedFileCount(), 0U);
    EXPECT_TRUE(queue_->watchedDescriptors().empty());
}

} // namespace
} // namespace veltra
