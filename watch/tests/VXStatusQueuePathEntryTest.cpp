#include "watch/VXStatusQueuePathEntry.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/kqueue/fakes/FakeKernelQueue.h"

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

class VXStatusQueuePathEntryTest : public testing::Test {
  protected:
    VXStatusQueuePathEntryTest() { folder_.write("log", "text"); }

    [[nodiscard]] QString path(const std::string& name) const
    {
        return QString::fromStdString(folder_.file(name));
    }
    [[nodiscard]] auto makeEntry(std::uint32_t flags = 0x7F) const
    {
        return VXStatusQueuePathEntry::initWithPath(path("log"), flags);
    }

    TemporaryFolder folder_;
};

TEST_F(VXStatusQueuePathEntryTest, StartsWithOneHolderAndTheFlagsGiven)
{
    const auto entry = makeEntry(0x12);

    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->path(), path("log"));
    EXPECT_EQ(entry->subscriptionFlags(), 0x12U);
    EXPECT_EQ(entry->pathRefCount(), 1U);
    EXPECT_GE(entry->watchedFD(), 0);
    EXPECT_TRUE(entry->logFilePath().isNull());
    EXPECT_FALSE(entry->registration());
}

TEST_F(VXStatusQueuePathEntryTest, IsNoneWhenThePathCannotBeOpened)
{
    const auto missing = VXStatusQueuePathEntry::initWithPath(path("missing"), 0x7F);
    const auto nowhere = VXStatusQueuePathEntry::initWithPath(path("log/below"), 0x7F);
    const auto empty = VXStatusQueuePathEntry::initWithPath(QString{}, 0x7F);

    EXPECT_FALSE(missing);
    EXPECT_FALSE(nowhere);
    EXPECT_FALSE(empty);
}

TEST_F(VXStatusQueuePathEntryTest, OpensTheVeryFileThatThePathNames)
{
    const auto entry = makeEntry();
    struct stat opened {};
    struct stat named {};

    ASSERT_EQ(::fstat(entry->watchedFD(), &opened), 0);
    ASSERT_EQ(::stat(folder_.file("log").c_str(), &named), 0);
    EXPECT_EQ(opened.st_ino, named.st_ino);
    EXPECT_EQ(opened.st_dev, named.st_dev);
}

TEST_F(VXStatusQueuePathEntryTest, OpensFoldersToo)
{
    const auto entry =
        VXStatusQueuePathEntry::initWithPath(QString::fromStdString(folder_.path() + "/"), 0x7F);

    EXPECT_TRUE(entry);
}

TEST_F(VXStatusQueuePathEntryTest, ItsDescriptorCannotReadAndIsNotInherited)
{
    const auto entry = makeEntry();
    char byte = 0;

    EXPECT_EQ(::read(entry->watchedFD(), &byte, 1), -1);
    EXPECT_NE(::fcntl(entry->watchedFD(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(VXStatusQueuePathEntryTest, OpeningANamedPipeWaitsForNobody)
{
    ASSERT_EQ(::mkfifo(folder_.file("pipe").c_str(), 0600), 0);
    auto opening = std::async(std::launch::async, [this] {
        return VXStatusQueuePathEntry::initWithPath(path("pipe"), 0x7F);
    });

    const auto outcome = opening.wait_for(std::chrono::minutes{1});
    // Unblocks a call of open(2) that is waiting.
    const Fd other{::open(folder_.file("pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)};

    EXPECT_EQ(outcome, std::future_status::ready);
    EXPECT_TRUE(opening.get());
}

TEST_F(VXStatusQueuePathEntryTest, OpensAFileThatMayNotBeRead)
{
    ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder_.file("log").c_str(), 0), 0);

    const int outcome = runInChild([this] {
        constexpr uid_t nobody = 65534;
        if (::geteuid() == 0 && ::setuid(nobody) != 0)
            return 1;
        if (::access(folder_.file("log").c_str(), R_OK) == 0)
            return 2;
        return makeEntry() ? 0 : 3;
    });

    EXPECT_EQ(outcome, 0);
}

TEST_F(VXStatusQueuePathEntryTest, ReleaseIsTrueForTheLastHolderAlone)
{
    const auto entry = makeEntry();
    entry->retainPath();
    entry->retainPath();
    ASSERT_EQ(entry->pathRefCount(), 3U);

    EXPECT_FALSE(entry->releasePath());
    EXPECT_FALSE(entry->releasePath());
    EXPECT_TRUE(entry->releasePath());
    EXPECT_EQ(entry->pathRefCount(), 0U);
}

TEST_F(VXStatusQueuePathEntryTest, CountsHoldersOfSeveralThreads)
{
    const auto entry = makeEntry();
    std::atomic<int> lastReleases = 0;
    constexpr int rounds = 1000;
    const auto holdAndLetGo = [&] {
        for (int round = 0; round < rounds; ++round) {
            entry->retainPath();
            lastReleases += entry->releasePath() ? 1 : 0;
        }
    };

    {
        const std::jthread one{holdAndLetGo};
        const std::jthread other{holdAndLetGo};
    }

    EXPECT_EQ(entry->pathRefCount(), 1U);
    EXPECT_EQ(lastReleases, 0);
}

TEST_F(VXStatusQueuePathEntryTest, KeepsTheFlagsAndTheLogFilePathThatAreSet)
{
    const auto entry = makeEntry(0x02);

    entry->setSubscriptionFlags(0x06);
    entry->setlogFilePath(QStringLiteral("/some/log"));

    EXPECT_EQ(entry->subscriptionFlags(), 0x06U);
    EXPECT_EQ(entry->logFilePath(), QStringLiteral("/some/log"));
    EXPECT_EQ(entry->path(), path("log"));
}

TEST_F(VXStatusQueuePathEntryTest, ItsEndClosesTheDescriptorAndEndsTheWatch)
{
    FakeKernelQueue queue;
    auto entry = makeEntry();
    const int descriptor = entry->watchedFD();
    auto registration = queue.watch(descriptor, 0x7F, entry);
    ASSERT_TRUE(registration);
    entry->setRegistration(std::move(registration.value()));
    ASSERT_EQ(queue.watchedDescriptors(), std::vector{descriptor});

    entry.reset();

    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
    EXPECT_TRUE(queue.watchedDescriptors().empty());
}

} // namespace
} // namespace veltra
