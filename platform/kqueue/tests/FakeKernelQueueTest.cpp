#include "platform/kqueue/fakes/FakeKernelQueue.h"

#include <gtest/gtest.h>
#include <poll.h>

namespace veltra {

namespace {

using Changes = std::vector<FakeKernelQueue::Change>;

KernelQueue::Registration watch(KernelQueue& queue, int descriptor, std::uint32_t fflags)
{
    return std::move(queue.watch(descriptor, fflags, {}).value());
}

} // namespace

TEST(FakeKernelQueue, TellsEveryChangeThatTheKernelWasAskedFor)
{
    FakeKernelQueue queue;

    auto first = watch(queue, 7, NOTE_WRITE);
    auto second = watch(queue, 9, NOTE_DELETE);
    first.setFlags(NOTE_WRITE | NOTE_RENAME);
    second = {};

    EXPECT_EQ(queue.changes(),
              (Changes{{7, NOTE_WRITE}, {9, NOTE_DELETE}, {7, NOTE_WRITE | NOTE_RENAME}}));
}

TEST(FakeKernelQueue, TellsWhichDescriptorsAreWatchedNow)
{
    FakeKernelQueue queue;

    const auto first = watch(queue, 9, NOTE_WRITE);
    auto second = watch(queue, 7, NOTE_WRITE);
    const auto third = watch(queue, 8, NOTE_WRITE);
    second = {};

    EXPECT_EQ(queue.watchedDescriptors(), (std::vector<int>{9, 8}));
}

TEST(FakeKernelQueue, LetsNothingHappenToOtherDescriptors)
{
    FakeKernelQueue queue;
    const auto seven = std::make_shared<int>(7);
    const auto nine = std::make_shared<int>(9);
    const auto first = queue.watch(7, NOTE_WRITE, seven);
    const auto second = queue.watch(9, NOTE_WRITE, nine);

    queue.post(8, NOTE_WRITE);
    queue.post(9, NOTE_WRITE);
    const auto event = queue.wait();

    ASSERT_TRUE(event);
    EXPECT_EQ(event->udata, nine);
}

TEST(FakeKernelQueue, HasARealDescriptorOnWhichNothingHappens)
{
    FakeKernelQueue queue;
    const auto registration = watch(queue, 7, NOTE_WRITE);

    queue.post(7, NOTE_WRITE);
    pollfd source{.fd = queue.descriptor(), .events = POLLIN, .revents = 0};

    EXPECT_EQ(poll(&source, 1, 0), 0);
    EXPECT_EQ(source.revents, 0);
}

} // namespace veltra
