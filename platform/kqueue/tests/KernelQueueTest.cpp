#include "platform/kqueue/KernelQueue.h"

#include "platform/base/tests/SleepingThread.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/kqueue/fakes/FakeKernelQueue.h"
#include "platform/kqueue/tests/KernelQueueTesting.h"

#include <future>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace veltra {

namespace {

enum class Kind { inotify, fake };

/// A queue of either kind, over files that a test changes. If no kernel sees the change, the
/// fixture reports it to the queue.
class AnyKernelQueue : public testing::TestWithParam<Kind> {
  protected:
    AnyKernelQueue()
    {
        if (GetParam() == Kind::inotify) {
            auto queue = KernelQueue::open();
            if (!queue)
                throw std::runtime_error{queue.error().message()};
            queue_ = std::move(queue.value());
        } else {
            auto fake = std::make_unique<FakeKernelQueue>();
            fake_ = fake.get();
            queue_ = std::move(fake);
        }
        watch("fence", everyNote);
    }

    void watch(const std::string& name, std::uint32_t fflags)
    {
        folder_.append(name, "");
        watches_.insert_or_assign(name, watchPath(*queue_, folder_.file(name), name, fflags));
    }

    void append(const std::string& name)
    {
        folder_.append(name, "x");
        tell(name, NOTE_WRITE | NOTE_EXTEND);
    }

    void changeMode(const std::string& name)
    {
        mode_ ^= S_IXUSR;
        chmod(folder_.file(name).c_str(), mode_);
        tell(name, NOTE_ATTRIB);
    }

    void tell(const std::string& name, std::uint32_t fflags)
    {
        if (fake_)
            fake_->post(watches_.at(name).descriptor.get(), fflags);
    }

    [[nodiscard]] Report next() { return nextReport(*queue_); }

    // Whether everything that happened before this call has been fetched.
    [[nodiscard]] bool isDrained()
    {
        append("fence");
        return next() == Report{"fence", NOTE_WRITE | NOTE_EXTEND};
    }

    TemporaryFolder folder_;
    std::unique_ptr<KernelQueue> queue_;
    FakeKernelQueue* fake_ = nullptr;
    std::map<std::string, NamedWatch> watches_;
    mode_t mode_ = 0600;
};

/// A thread that waits on a queue once, for at most a minute.
class Waiter {
  public:
    explicit Waiter(KernelQueue& queue)
        : deadline_{queue}, thread_{[&queue, this] { event_.set_value(queue.wait()); }}
    {
    }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    ~Waiter() { thread_.join(); }

    [[nodiscard]] bool waitUntilAsleep() const { return thread_.waitUntilAsleep(); }
    [[nodiscard]] std::optional<KernelQueue::Event> result() { return event_.get_future().get(); }

  private:
    Deadline deadline_;
    std::promise<std::optional<KernelQueue::Event>> event_;
    SleepingThread thread_;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(KernelQueue, AnyKernelQueue, testing::Values(Kind::inotify, Kind::fake),
                         [](const auto& kind) {
                             return kind.param == Kind::inotify ? "Inotify" : "Fake";
                         });

TEST_P(AnyKernelQueue, MergesAllThatHappenedToOneWatchIntoOneEvent)
{
    watch("a", everyNote);

    append("a");
    changeMode("a");
    append("a");

    EXPECT_EQ(next(), (Report{"a", NOTE_WRITE | NOTE_EXTEND | NOTE_ATTRIB}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, MergesWhatHappensWhileAnEventIsPending)
{
    watch("a", everyNote);
    append("fence");
    append("a");

    const Report first = next();
    changeMode("a");

    EXPECT_EQ(first, (Report{"fence", NOTE_WRITE | NOTE_EXTEND}));
    EXPECT_EQ(next(), (Report{"a", NOTE_WRITE | NOTE_EXTEND | NOTE_ATTRIB}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, ReportsAChangeOnceAndTheNextOneAgain)
{
    watch("a", everyNote);

    append("a");
    const Report first = next();
    changeMode("a");
    const Report second = next();

    EXPECT_EQ(first, (Report{"a", NOTE_WRITE | NOTE_EXTEND}));
    EXPECT_EQ(second, (Report{"a", NOTE_ATTRIB}));
}

TEST_P(AnyKernelQueue, ReportsWatchesInTheOrderOfTheirFirstChange)
{
    watch("a", everyNote);
    watch("b", everyNote);
    watch("c", everyNote);

    append("c");
    append("a");
    append("b");
    append("a");
    append("c");

    EXPECT_EQ(next().name, "c");
    EXPECT_EQ(next().name, "a");
    EXPECT_EQ(next().name, "b");
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, GivesNoPlaceToAChangeThatTheMaskLeavesOut)
{
    watch("a", NOTE_ATTRIB);
    watch("b", everyNote);

    append("a");
    append("b");
    changeMode("a");

    EXPECT_EQ(next(), (Report{"b", NOTE_WRITE | NOTE_EXTEND}));
    EXPECT_EQ(next(), (Report{"a", NOTE_ATTRIB}));
}

TEST_P(AnyKernelQueue, ReportsOnlyBitsOfTheMask)
{
    watch("a", NOTE_EXTEND | NOTE_DELETE);
    watch("b", NOTE_RENAME);

    append("a");
    changeMode("a");
    append("b");

    EXPECT_EQ(next(), (Report{"a", NOTE_EXTEND}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, ReportsWhatAWidenedMaskLetsThroughFromThenOn)
{
    watch("a", NOTE_DELETE);

    append("a");
    watches_.at("a").registration.setFlags(NOTE_DELETE | NOTE_ATTRIB | NOTE_WRITE);
    const bool wasDrained = isDrained();
    changeMode("a");

    EXPECT_TRUE(wasDrained);
    EXPECT_EQ(next(), (Report{"a", NOTE_ATTRIB}));
}

TEST_P(AnyKernelQueue, DropsPendingChangesThatANarrowedMaskLeavesOut)
{
    watch("a", everyNote);
    watch("b", everyNote);

    append("a");
    append("b");
    changeMode("b");
    watches_.at("a").registration.setFlags(NOTE_ATTRIB);
    watches_.at("b").registration.setFlags(NOTE_ATTRIB);

    EXPECT_EQ(next(), (Report{"b", NOTE_ATTRIB}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, DropsUnfetchedChangesWithTheRegistration)
{
    watch("a", everyNote);
    watch("b", everyNote);
    append("fence");
    append("a");
    const Report first = next();

    append("b");
    watches_.erase("a");
    watches_.erase("b");

    EXPECT_EQ(first.name, "fence");
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, DropsEventsWhoseUserDataIsGone)
{
    watch("a", everyNote);
    watch("b", everyNote);
    append("fence");
    append("a");
    append("b");

    const Report first = next();
    watches_.at("a").name.reset();

    EXPECT_EQ(first.name, "fence");
    EXPECT_EQ(next().name, "b");
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, KeepsTheUserDataOfAnEventAlive)
{
    watch("a", everyNote);
    append("a");
    const Deadline deadline{*queue_};

    const auto event = queue_->wait();
    watches_.erase("a");

    ASSERT_TRUE(event);
    EXPECT_EQ(event->filter, EVFILT_VNODE);
    EXPECT_EQ(*std::static_pointer_cast<std::string>(event->udata), "a");
    EXPECT_EQ(event->udata.use_count(), 1);
}

TEST_P(AnyKernelQueue, ServesTwoWatchesOfOneDescriptorEach)
{
    watch("a", NOTE_EXTEND);
    const auto name = std::make_shared<std::string>("second");
    auto second = queue_->watch(watches_.at("a").descriptor.get(), NOTE_ATTRIB, name);
    ASSERT_TRUE(second);

    append("a");
    changeMode("a");
    const Report first = next();
    const Report other = next();
    watches_.at("a").registration = {};
    append("a");
    changeMode("a");

    EXPECT_EQ(first, (Report{"a", NOTE_EXTEND}));
    EXPECT_EQ(other, (Report{"second", NOTE_ATTRIB}));
    EXPECT_EQ(next(), (Report{"second", NOTE_ATTRIB}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, CreditsAChangeOnlyToWatchesThatWereThere)
{
    watch("a", everyNote);
    append("a");

    const auto name = std::make_shared<std::string>("late");
    auto late = queue_->watch(watches_.at("a").descriptor.get(), everyNote, name);
    ASSERT_TRUE(late);

    EXPECT_EQ(next(), (Report{"a", NOTE_WRITE | NOTE_EXTEND}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, InterruptEndsABlockedWait)
{
    Waiter waiter{*queue_};
    ASSERT_TRUE(waiter.waitUntilAsleep());

    const auto start = std::chrono::steady_clock::now();
    queue_->interrupt();
    const auto event = waiter.result();

    EXPECT_FALSE(event);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{5});
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, InterruptsEndOneFutureWaitAndLoseNoEvent)
{
    watch("a", everyNote);
    append("a");

    queue_->interrupt();
    queue_->interrupt();

    EXPECT_FALSE(queue_->wait());
    EXPECT_EQ(next(), (Report{"a", NOTE_WRITE | NOTE_EXTEND}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, AChangeEndsABlockedWait)
{
    watch("a", everyNote);
    Waiter waiter{*queue_};
    ASSERT_TRUE(waiter.waitUntilAsleep());

    append("a");
    const auto event = waiter.result();

    ASSERT_TRUE(event);
    EXPECT_EQ(event->fflags, NOTE_WRITE | NOTE_EXTEND);
}

TEST_P(AnyKernelQueue, LosesNothingToMasksThatChangeBesideABlockedWait)
{
    watch("a", everyNote);
    watch("b", everyNote);

    for (int round = 0; round < 300; ++round) {
        Waiter waiter{*queue_};
        ASSERT_TRUE(waiter.waitUntilAsleep());
        append("a");
        watches_.at("b").registration.setFlags(everyNote);

        const auto event = waiter.result();
        ASSERT_TRUE(event) << "round " << round;
    }
}

TEST_P(AnyKernelQueue, RegistersAThousandTimesBesideAWaitingThread)
{
    watch("last", everyNote);
    folder_.write("a", "");
    std::promise<Report> lastReport;
    std::thread waiter{[&] {
        Report report = nextReport(*queue_);
        while (report.name == "a" || report.name == "fence")
            report = nextReport(*queue_);
        lastReport.set_value(report);
    }};

    for (int round = 0; round < 1000; ++round) {
        watch("a", NOTE_WRITE);
        append("a");
        watches_.at("a").registration.setFlags(everyNote);
        changeMode("a");
        watches_.erase("a");
    }
    append("fence");
    append("last");
    waiter.join();

    EXPECT_EQ(lastReport.get_future().get(), (Report{"last", NOTE_WRITE | NOTE_EXTEND}));
    EXPECT_TRUE(isDrained());
}

TEST_P(AnyKernelQueue, LeavesRegistrationsInertThatOutliveIt)
{
    watch("a", everyNote);
    append("a");
    const std::weak_ptr<std::string> name = watches_.at("a").name;

    queue_.reset();
    watches_.at("a").registration.setFlags(NOTE_WRITE);
    watches_.clear();

    EXPECT_TRUE(name.expired());
}

} // namespace veltra
