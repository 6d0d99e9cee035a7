#include "platform/rights/RegisteredProcess.h"

#include "platform/base/ProcessStatus.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

TEST(ProcessStartTime, IsReadBehindANameThatLooksLikeItsEnd)
{
    const TemporaryFolder folder;
    const std::string program = folder.file("a) S 1 (b");
    std::filesystem::copy_file("/bin/sleep", program);
    const auto before = processStartTime(::getpid());

    const SleepingProcess process{"sleep", program};

    ASSERT_TRUE(before);
    EXPECT_GE(processStartTime(process.pid()).value_or(0), *before);
}

TEST(ProcessStartTime, IsMissingWhenThereIsNoSuchProcess)
{
    SleepingProcess process;
    process.killAndReap();

    EXPECT_EQ(processStartTime(process.pid()), std::nullopt);
}

TEST(RegisteredProcess, IsFoundByWhatIsTrueOfIt)
{
    const SleepingProcess process;
    const auto startTime = processStartTime(process.pid()).value();

    const auto found = RegisteredProcess::find(process.pid(), startTime, ::getuid());

    ASSERT_TRUE(found);
    EXPECT_EQ(found->pid(), process.pid());
    EXPECT_EQ(found->startTime(), startTime);
    EXPECT_EQ(found->user(), ::getuid());
    EXPECT_TRUE(found->isAlive());
}

TEST(RegisteredProcess, IsNotFoundByAnotherStartTime)
{
    const SleepingProcess process;
    const auto startTime = processStartTime(process.pid()).value();

    EXPECT_FALSE(RegisteredProcess::find(process.pid(), startTime + 1, ::getuid()));
}

TEST(RegisteredProcess, IsNotFoundByAnotherUser)
{
    const SleepingProcess process;
    const auto startTime = processStartTime(process.pid()).value();

    EXPECT_FALSE(RegisteredProcess::find(process.pid(), startTime, ::getuid() + 1));
}

TEST(RegisteredProcess, IsNotAliveWhenItHasEndedThoughNobodyWaitedForIt)
{
    const SleepingProcess process;
    const auto startTime = processStartTime(process.pid()).value();
    const auto found = RegisteredProcess::find(process.pid(), startTime, ::getuid());
    ASSERT_TRUE(found);

    process.kill();
    while (found->isAlive())
        ::sched_yield();

    EXPECT_FALSE(RegisteredProcess::find(process.pid(), startTime, ::getuid()));
}

} // namespace
} // namespace veltra
