#include "platform/process/PinnedProcess.h"
#include "platform/process/tests/PinnedProcessTesting.h"
#include "platform/process/tests/Tracer.h"

#include <filesystem>
#include <ios>
#include <string>

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

TEST_F(PinnedProcessTest, ObjectsToALibraryThatBelongsToAUser)
{
    const std::string path = usersLibrary();
    const AnsweringProcess process{rootsProgram, {.user = ordinaryUser(), .preload = path}};

    EXPECT_EQ(objectionTo(process, ordinaryUser()), path + ": it is loaded and not root's alone");
}

TEST_F(PinnedProcessTest, ObjectsToALibraryOfRootThatOthersMayWriteTo)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a library of root";
    const std::string path = library();
    const AnsweringProcess process{rootsProgram, {.user = nobody, .preload = path}};

    for (const unsigned mode : {0775U, 0757U}) {
        fs::permissions(path, fs::perms{mode});
        EXPECT_EQ(objectionTo(process, nobody), path + ": it is loaded and not root's alone")
            << std::oct << mode;
    }
}

// No mapping tells whose it is.
TEST_F(PinnedProcessTest, ObjectsToAnExecutableOfAUserThatHidesItsCode)
{
    const std::string path = sleeper();
    if (isOnNosuidMount(path))
        GTEST_SKIP() << "for want of temporary folders on a mount without nosuid";
    ASSERT_TRUE(!isRoot() || ::chown(path.c_str(), nobody, nobody) == 0);
    const AnsweringProcess process{path, {.user = ordinaryUser()}};

    ASSERT_EQ(process.ask("hide"), "hide");

    EXPECT_EQ(objectionTo(process, ordinaryUser()), "its executable does not belong to root");
}

TEST_F(PinnedProcessTest, HasNothingAgainstAnExecutableOfAUserThatRootRuns)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have processes of root";
    const std::string path = program();
    ASSERT_EQ(::chown(path.c_str(), nobody, nobody), 0);
    const AnsweringProcess process{path};

    EXPECT_EQ(objectionTo(process, 0), none);
}

TEST_F(PinnedProcessTest, HasNothingAgainstALibraryOfRootsAlone)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a library of root";
    const std::string path = library();
    if (isOnNosuidMount(path))
        GTEST_SKIP() << "for want of temporary folders on a mount without nosuid";
    const AnsweringProcess process{rootsProgram, {.user = nobody, .preload = path}};

    EXPECT_EQ(objectionTo(process, nobody), none);
}

TEST_F(PinnedProcessTest, LeavesToRootWhatItsProcessesLoad)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have processes of root";
    const AnsweringProcess process{rootsProgram, {.preload = usersLibrary()}};

    EXPECT_EQ(objectionTo(process, 0), none);
}

TEST_F(PinnedProcessTest, ObjectsToALibraryInWhosePlaceAnotherWasPut)
{
    const std::string path = library();
    const AnsweringProcess process{rootsProgram, {.user = ordinaryUser(), .preload = path}};

    fs::rename(copy(VELTRA_TEST_ODD_LIBRARY, "new"), path);

    EXPECT_EQ(objectionTo(process, ordinaryUser()),
              path +
                  " (deleted): it was replaced since it was loaded; restarting the program helps");
}

TEST_F(PinnedProcessTest, ObjectsToALibraryThatAnotherFileCanBeTakenForByItsName)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a library of root";
    const std::string path = library();
    const AnsweringProcess process{rootsProgram, {.user = ordinaryUser(), .preload = path}};

    fs::remove(path);
    const std::string other = copy(VELTRA_TEST_ODD_LIBRARY, "odd.so (deleted)");

    EXPECT_EQ(objectionTo(process, ordinaryUser()),
              other + ": it was replaced since it was loaded; restarting the program helps");
}

// The link leads to the same file that was loaded, so that nothing else can be the reason.
TEST_F(PinnedProcessTest, FollowsNoLinkToALibrary)
{
    fs::create_directory(folder().file("loaded"));
    fs::create_directory(folder().file("linked"));
    const std::string path = copy(VELTRA_TEST_ODD_LIBRARY, "loaded/odd.so");
    const AnsweringProcess process{rootsProgram, {.user = ordinaryUser(), .preload = path}};

    fs::create_hard_link(path, folder().file("linked/odd.so (deleted)"));
    fs::remove_all(folder().file("loaded"));
    fs::create_directory_symlink("linked", folder().file("loaded"));

    EXPECT_EQ(objectionTo(process, ordinaryUser()),
              path +
                  " (deleted): it was replaced since it was loaded; restarting the program helps");
}

TEST_F(PinnedProcessTest, ObjectsToCodeThatADebuggerLeftBehindInTheMemory)
{
    if (isOnNosuidMount(rootsProgram))
        GTEST_SKIP() << "for want of system programs on a mount without nosuid";
    const AnsweringProcess process{rootsProgram, {.user = ordinaryUser()}};
    const PinnedProcess pinned = pin(process);
    ASSERT_EQ(objectionTo(pinned, ordinaryUser()), none);

    {
        Tracer tracer{process.pid()};
        if (!tracer)
            GTEST_SKIP() << "for want of leave to trace processes";
        ASSERT_TRUE(tracer.writeIntoCode());
    }

    EXPECT_THAT(objectionTo(pinned, ordinaryUser()),
                testing::EndsWith(": it was changed in memory"));
    EXPECT_EQ(changeOf(pinned), none);
}

TEST_F(PinnedProcessTest, ObjectsToCodeThatIsInNoFile)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a program of root";
    const std::string path = sleeper();
    if (isOnNosuidMount(path))
        GTEST_SKIP() << "for want of temporary folders on a mount without nosuid";
    const AnsweringProcess process{path, {.user = ordinaryUser()}};

    ASSERT_EQ(process.ask("hide"), "hide");

    EXPECT_EQ(objectionTo(process, ordinaryUser()), "it has no executable mappings");
}

TEST_F(PinnedProcessTest, ObjectsToALibraryOfRootOnANosuidMount)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have a library of root";
    const int result = runOnNosuidMount([this] {
        const std::string path = library();
        const AnsweringProcess process{rootsProgram, {.user = nobody, .preload = path}};

        EXPECT_EQ(objectionTo(process, nobody), path + ": it is loaded from a nosuid mount");
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount";
    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
