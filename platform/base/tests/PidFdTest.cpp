#include "platform/base/PidFd.h"

#include "platform/base/tests/SleepingProcess.h"

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace veltra;

namespace {

using std::chrono::seconds;

TEST(PidFd, StandsForAProcessUntilItEnds)
{
    SleepingProcess process;
    const PidFd opened = PidFd::open(process.pid());
    ASSERT_TRUE(opened);
    EXPECT_TRUE(opened.isAlive());

    opened.signal(SIGTERM);

    EXPECT_FALSE(opened.isAliveAfter(seconds{20}));
    EXPECT_FALSE(opened.isAlive());
}

TEST(PidFd, TellsWhichProcessItStandsFor)
{
    const SleepingProcess process;
    const PidFd opened = PidFd::open(process.pid());

    EXPECT_TRUE(opened.isOf(process.pid()));
    EXPECT_FALSE(opened.isOf(::getpid()));
}

TEST(PidFd, IsEmptyForAProcessThatDoesNotExist)
{
    constexpr pid_t none = 1 << 22; // the kernel's limit, which no process reaches

    const PidFd opened = PidFd::open(none);

    EXPECT_FALSE(opened);
    EXPECT_TRUE(errno == ESRCH || errno == EINVAL) << errno;
}

} // namespace
