#include "platform/process/PinnedProcess.h"
#include "platform/process/tests/PinnedProcessTesting.h"

#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

namespace veltra {
namespace {

TEST_F(PinnedProcessTest, ObjectsToAnotherUserNamespace)
{
    if (!AnsweringProcess::mayBeIn(CLONE_NEWUSER))
        GTEST_SKIP() << "for want of a user namespace";
    const AnsweringProcess process{rootsProgram, {.namespaces = CLONE_NEWUSER}};

    const PinnedProcess pinned = pin(process);

    EXPECT_EQ(objectionTo(pinned), "it is in another user namespace");
    EXPECT_EQ(changeOf(pinned), "it is in another user namespace");
}

TEST_F(PinnedProcessTest, ObjectsToAnotherPidNamespace)
{
    if (!AnsweringProcess::mayBeIn(CLONE_NEWPID))
        GTEST_SKIP() << "for want of a pid namespace";
    const AnsweringProcess process{rootsProgram, {.namespaces = CLONE_NEWPID}};

    EXPECT_EQ(objectionTo(process), "it is in another pid namespace");
}

TEST_F(PinnedProcessTest, ObjectsToAnotherMountNamespace)
{
    if (!AnsweringProcess::mayBeIn(CLONE_NEWNS))
        GTEST_SKIP() << "for want of a mount namespace";
    const AnsweringProcess process{rootsProgram, {.namespaces = CLONE_NEWNS}};

    EXPECT_EQ(objectionTo(process), "it is in another mount namespace");
}

TEST_F(PinnedProcessTest, TakesTheMountNamespaceOfTheBusDaemonForTheRightOne)
{
    const int namespaces = withOwnUserUnlessRoot(CLONE_NEWNS);
    if (!AnsweringProcess::mayBeIn(namespaces))
        GTEST_SKIP() << "for want of a mount namespace";
    const AnsweringProcess process{rootsProgram};
    const AnsweringProcess daemon{rootsProgram, {.namespaces = namespaces}};

    const std::string objection =
        textOf(pin(process).check({.user = ::geteuid(), .busDaemon = daemon.pid()}));

    EXPECT_EQ(objection, "it is in another mount namespace");
}

TEST_F(PinnedProcessTest, HasNothingAgainstAMountNamespaceThatTheBusDaemonIsInToo)
{
    if (!AnsweringProcess::mayBeIn(CLONE_NEWNS))
        GTEST_SKIP() << "for want of a mount namespace";
    const AnsweringProcess process{rootsProgram, {.namespaces = CLONE_NEWNS}};

    const std::string objection =
        textOf(pin(process).check({.user = ::geteuid(), .busDaemon = process.pid()}));

    EXPECT_EQ(objection, none);
}

TEST_F(PinnedProcessTest, ObjectsWhenTheBusDaemonIsGone)
{
    const AnsweringProcess process{rootsProgram};
    AnsweringProcess daemon{rootsProgram};
    const pid_t gone = daemon.pid();
    daemon.kill();
    daemon.reap();

    const std::string objection =
        textOf(pin(process).check({.user = ::geteuid(), .busDaemon = gone}));

    EXPECT_EQ(objection, "it is in another mount namespace");
}

TEST_F(PinnedProcessTest, ObjectsToAnotherRootFolder)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of leave to change the root folder";
    const AnsweringProcess process{sleeper()};
    ASSERT_EQ(objectionTo(process), none);

    ASSERT_EQ(process.ask("chroot " + folder().path()), "chroot " + folder().path());

    EXPECT_EQ(objectionTo(process), "its root folder is another one");
}

TEST_F(PinnedProcessTest, TakesTheRootFolderOfTheBusDaemonForTheRightOne)
{
    const AnsweringProcess process{rootsProgram};
    const AnsweringProcess daemon{sleeper()};
    const std::string order = "chroot " + folder().path();
    if (const std::string answer = daemon.ask(order); answer != order)
        GTEST_SKIP() << "for want of leave to change the root folder: " << answer;

    const std::string objection =
        textOf(pin(process).check({.user = ::geteuid(), .busDaemon = daemon.pid()}));

    EXPECT_EQ(objection, "its root folder is another one");
}

} // namespace
} // namespace veltra
