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
    void copy() const
    {
        copyReplacing(QString::fromStdString(source), QString::fromStdString(target));
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

    copy();

    EXPECT_TRUE(bytesOf(target) == bytes);
}

TEST_F(DesktopCopyTest, ReplacesAnEarlierCopy)
{
    folder.write("vxsvc_1.log", "first, and the longer one");
    copy();
    folder.write("vxsvc_1.log", "second");
    copy();

    EXPECT_EQ(bytesOf(target), "second");
    EXPECT_EQ(filesInDesktop(), 1U);
}

TEST_F(DesktopCopyTest, IsEmptyWhenThereIsNoLogToRead)
{
    folder.write("Desktop/Agent_Monitor.log", "earlier");

    copy();
    EXPECT_EQ(bytesOf(target), "");
    EXPECT_TRUE(std::filesystem::exists(target));

    source = folder.path() + "/";
    copy();
    EXPECT_EQ(bytesOf(target), "");
}

TEST_F(DesktopCopyTest, IsNotHeldUpByAFifo)
{
    ASSERT_EQ(::mkfifo(source.c_str(), 0600), 0);

    copy();

    EXPECT_TRUE(std::filesystem::exists(target));
    EXPECT_EQ(bytesOf(target), "");
}

TEST_F(DesktopCopyTest, SaysNothingWithoutADesktop)
{
    folder.write("vxsvc_1.log", "text");
    std::filesystem::remove(folder.file("Desktop"));

    copy();

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

    copy();

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
        copy();
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytesOf(target), "earlier");
    EXPECT_EQ(filesInDesktop(), 1U);
}

} // namespace
} // namespace veltra
