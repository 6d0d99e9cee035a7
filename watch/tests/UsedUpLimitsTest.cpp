// What the watcher does when the system lets it watch no more.

#include "platform/log/tests/RecordedLog.h"
#include "watch/VXStatusQueueCentral.h"
#include "watch/tests/CrampedKernelQueue.h"
#include "watch/tests/WatcherTesting.h"

#include <sys/resource.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;

class UsedUpLimitsTest : public WatcherTest {
  protected:
    ~UsedUpLimitsTest() override { central_.reset(); } // it logs until then

    CrampedKernelQueue& makeCrampedWatcher(std::size_t room)
    {
        auto queue = std::make_unique<CrampedKernelQueue>(room);
        CrampedKernelQueue& made = *queue;
        queue_ = &made;
        auto withShortRetries = dependencies();
        withShortRetries.retryInterval = 10ms;
        central_ = std::make_unique<VXStatusQueueCentral>(std::move(queue), withShortRetries);
        return made;
    }

    [[nodiscard]] bool isCaughtUp() const
    {
        return inWords().contains(QStringLiteral("default VXStatusNotification"));
    }

    [[nodiscard]] std::ptrdiff_t timesLogged(const std::string& message)
    {
        return std::ranges::count(log_.messages(), message);
    }

    [[nodiscard]] std::string nameOf(const QString& path) const { return path.toStdString(); }

    RecordedLog log_;
};

/// The process cannot open anything while this lives.
class WithoutDescriptors {
  public:
    WithoutDescriptors()
    {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit none{.rlim_cur = 3, .rlim_max = before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    WithoutDescriptors(const WithoutDescriptors&) = delete;
    WithoutDescriptors& operator=(const WithoutDescriptors&) = delete;
    ~WithoutDescriptors() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before_), 0); }

  private:
    rlimit before_{};
};

TEST_F(UsedUpLimitsTest, SaysOnceWhatIsNotWatchedAndTriesAgainUntilItIs)
{
    CrampedKernelQueue& queue = makeCrampedWatcher(0);
    const std::string refused =
        "Not watching " + nameOf(log()) + ": watch: No space left on device";

    central_->addPath(log());
    EXPECT_TRUE(central_->hasUnwatchedPaths());
    EXPECT_TRUE(runLoopUntil([&] { return timesLogged(refused) == 1; }));
    runLoopFor(100ms);
    EXPECT_EQ(timesLogged(refused), 1);
    EXPECT_FALSE(isCaughtUp());
    queue.setRoom(1);

    EXPECT_TRUE(runLoopUntil([&] { return isCaughtUp(); }));
    EXPECT_FALSE(central_->hasUnwatchedPaths());
    EXPECT_EQ(queue.watchedDescriptors(), std::vector{central_->entry(log())->watchedFD()});
    EXPECT_EQ(central_->entry(log())->pathRefCount(), 1U);
    EXPECT_EQ(timesLogged("Watching " + nameOf(log()) + " after all"), 1);
}

TEST_F(UsedUpLimitsTest, OpensWhatItCouldNotOpenWhenThereAreDescriptorsAgain)
{
    CrampedKernelQueue& queue = makeCrampedWatcher(10);
    {
        const WithoutDescriptors none;
        EXPECT_EQ(central_->addPathToQueue(log(), 0x02), nullptr);
        EXPECT_EQ(central_->addPathToQueue(log(), 0x04), nullptr);
    }

    EXPECT_TRUE(runLoopUntil([&] { return isCaughtUp(); }));

    const auto entry = central_->entry(log());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->subscriptionFlags(), 0x06U);
    EXPECT_EQ(entry->pathRefCount(), 2U);
    EXPECT_EQ(queue.watchedDescriptors(), std::vector{entry->watchedFD()});
    EXPECT_EQ(timesLogged("Not watching " + nameOf(log()) + ": open " + nameOf(log()) +
                          ": Too many open files"),
              1);
}

TEST_F(UsedUpLimitsTest, LeavesDescriptorsForTheRest)
{
    makeCrampedWatcher(10'000);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const auto used = static_cast<rlim_t>(descriptorCount());
    const rlimit few{.rlim_cur = used + 100, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);

    for (int number = 0; number < 200; ++number) {
        logs_.write("vxsvc_more_" + std::to_string(number), "");
        central_->addPath(log("vxsvc_more_" + std::to_string(number)));
    }
    const std::size_t watched = central_->watchedFileCount();
    std::vector<Fd> rest;
    while (rest.size() < 20)
        rest.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);

    EXPECT_GT(watched, 0U);
    EXPECT_LT(watched, 100U);
    EXPECT_TRUE(rest.back());
}

TEST_F(UsedUpLimitsTest, ForgetsAPathThatIsRemovedBeforeItCouldBeWatched)
{
    CrampedKernelQueue& queue = makeCrampedWatcher(0);
    central_->addPath(log());

    central_->removePath(log());
    queue.setRoom(1);
    runLoopFor(100ms);

    EXPECT_FALSE(central_->hasUnwatchedPaths());
    EXPECT_FALSE(central_->entry(log()));
    EXPECT_TRUE(queue.watchedDescriptors().empty());
}

TEST_F(UsedUpLimitsTest, SaysNothingOfAPathThatDoesNotExist)
{
    makeCrampedWatcher(1);

    central_->addPath(log("missing"));
    runLoopFor(100ms);

    EXPECT_FALSE(central_->hasUnwatchedPaths());
    EXPECT_TRUE(log_.messages().empty());
}

TEST_F(UsedUpLimitsTest, CatchesUpWhenAsked)
{
    central_->addPath(log());

    central_->catchUp();

    EXPECT_TRUE(runLoopUntil([&] { return isCaughtUp(); }));
    settle();
}

TEST(VXStatusQueueDependencies, TryAgainEveryFiveSeconds)
{
    NotificationCenter notifications;
    FakeWorkspace workspace;
    const VXStatusResourceController resources{{}, nullptr};

    const VXStatusQueueDependencies dependencies{.notifications = notifications,
                                                 .workspace = workspace,
                                                 .resources = resources,
                                                 .pathReceiver = {}};

    EXPECT_EQ(dependencies.retryInterval, 5s);
}

} // namespace
} // namespace veltra
