#include "app/DesktopCopy.h"

#include "platform/base/tests/FileBytes.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {
namespace {

class DesktopCopyTest : public testing::Test {
  protected:
    /// "copied", or why the source could not be read or the copy not be written.
    std::string copy() const
    {
        const auto copied =
            copyReplacing(QString::fromStdString(source), QString::fromStdString(target));
        if (!copied)
            return "not written: " + copied.error().code().message();
        const auto& unread = copied.value().unread;
        return unread ? "not read: " + unread->code().message() : "copied";
    }

    std::size_t filesInDesktop() const
    {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator{folder.file("Desktop")}, {}));
    }

    DesktopCopyTest() { std::filesystem::create_directory(folder.file("Desktop")); }

    TemporaryFolder folder;
    std::string source = folder.file("vxsvc_1.log");
    std::string target = folder.file("Desktop/Agent_Monitor.log");
};

TEST_F(DesktopCopyTest, HoldsEveryByte)
{
    std::string bytes(3'000'001, 'x');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 256);
    folder.write("vxsvc_1.log", bytes);

    EXPECT_EQ(copy(), "copied");

    EXPECT_TRUE(bytesOf(target) == bytes);
}

TEST_F(DesktopCopyTest, ReplacesAnEarlierCopy)
{
    folder.write("vxsvc_1.log", "first, and the longer one");
    EXPECT_EQ(copy(), "copied");
    folder.write("vxsvc_1.log", "second");
    EXPECT_EQ(copy(), "copied");

    EXPECT_EQ(bytesOf(target), "second");
    EXPECT_EQ(filesInDesktop(), 1U);
}

TEST_F(DesktopCopyTest, IsEmptyWhenThereIsNoLogToRead)
{
    folder.write("Desktop/Agent_Monitor.log", "earlier");

    EXPECT_EQ(copy(), "not read: No such file or directory");
    EXPECT_EQ(bytesOf(target), "");
    EXPECT_TRUE(std::filesystem::exists(target));

    source = folder.path() + "/";
    EXPECT_EQ(copy(), "not read: Is a directory");
    EXPECT_EQ(bytesOf(target), "");
}

TEST_F(DesktopCopyTest, IsNotHeldUpByAFifo)
{
    ASSERT_EQ(::mkfifo(source.c_str(), 0600), 0);

    EXPECT_EQ(copy(), "not read: Operation not supported");

    EXPECT_TRUE(std::filesystem::exists(target));
    EXPECT_EQ(bytesOf(target), "");
}

TEST_F(DesktopCopyTest, IsNotMadeWithoutADesktop)
{
    folder.write("vxsvc_1.log", "text");
    std::filesystem::remove(folder.file("Desktop"));

    EXPECT_EQ(copy(), "not written: No such file or directory");

    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_FALSE(std::filesystem::exists(folder.file("Desktop")));
}

// The kernel's files contain less than their reported size, like a log that is truncated while it
// is copied.
TEST_F(DesktopCopyTest, HoldsWhatThereWasOfALogThatIsTruncatedMeanwhile)
{
    source = "/sys/devices/system/cpu/online";
    const std::string bytes = bytesOf(source);
    ASSERT_GT(std::filesystem::file_size(source), bytes.size());
    ASSERT_NE(bytes, "");

    EXPECT_EQ(copy(), "copied");

    EXPECT_EQ(bytesOf(target), bytes);
}

// A limit on the size of files stands in for a full disk.
TEST_F(DesktopCopyTest, LeavesTheEarlierCopyWholeWhenTheDiskIsFull)
{
    folder.write("Desktop/Agent_Monitor.log", "earlier");
    folder.write("vxsvc_1.log", std::string(3'000'000, 'x'));
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1'500'000, 1'500'000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(copy() == "not written: File too large" ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytesOf(target), "earlier");
    EXPECT_EQ(filesInDesktop(), 1U);
}

TEST_F(DesktopCopyTest, HasThePermissionsOfANewFileWhateverTheEarlierOneHad)
{
    folder.write("Desktop/Agent_Monitor.log", "earlier");
    std::filesystem::permissions(target, std::filesystem::perms{0444});
    folder.write("vxsvc_1.log", "text");
    const mode_t mask = ::umask(027);

    const std::string outcome = copy();
    ::umask(mask);

    EXPECT_EQ(outcome, "copied");
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms{0640});
}

// What a user may do is tried as one: root's file in his folder, and one that he may only read.
TEST_F(DesktopCopyTest, ReplacesACopyThatTheUserMayNotWriteButReplace)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: nobody else can become another user";
    constexpr uid_t nobody = 65534;
    folder.write("vxsvc_1.log", "text");
    folder.write("Desktop/Agent_Monitor.log", "root's");
    std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
    ASSERT_EQ(::chown(folder.file("Desktop").c_str(), nobody, nobody), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgid(nobody) != 0 || ::setuid(nobody) != 0)
            ::_exit(2);
        const bool isFirstCopied = copy() == "copied";
        ::chmod(target.c_str(), 0444);
        ::_exit(isFirstCopied && copy() == "copied" ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytesOf(target), "text");
}

} // namespace
} // namespace veltra
