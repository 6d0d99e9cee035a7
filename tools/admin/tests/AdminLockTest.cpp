#include "tools/admin/AdminLock.h"

#include "platform/base/tests/TemporaryFolder.h"
#include "tools/admin/AdminError.h"

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;

TEST(AdminLock, NamesTheProcessThatHoldsItForTooLong)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("lock");
    const auto held = lockOutOthers(path.c_str(), 0ms);
    ASSERT_TRUE(held);

    const auto other = lockOutOthers(path.c_str(), 20ms);

    ASSERT_FALSE(other);
    EXPECT_EQ(other.error().code(), adminError(AdminError::othersWork));
    EXPECT_EQ(other.error().message(), "lock " + path + ", which process " +
                                           std::to_string(::getpid()) +
                                           " holds: It has not ended in time");
}

TEST(AdminLock, WaitsForTheOneThatHoldsIt)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("lock");
    auto held = lockOutOthers(path.c_str(), 0ms);
    ASSERT_TRUE(held);
    std::thread releasing{[&] {
        std::this_thread::sleep_for(50ms);
        held.value() = Fd{};
    }};

    EXPECT_TRUE(lockOutOthers(path.c_str(), 1min));

    releasing.join();
}

TEST(AdminLock, CannotBeTakenWhereThereIsNoFolder)
{
    const auto lock = lockOutOthers("/nowhere/lock", 0ms);

    ASSERT_FALSE(lock);
    EXPECT_EQ(lock.error().message(), "open /nowhere/lock: No such file or directory");
}

} // namespace
} // namespace veltra
