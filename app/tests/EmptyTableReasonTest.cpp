#include "app/EmptyTableReason.h"

#include "app/tests/AppTesting.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

class EmptyTableReasonTest : public testing::Test {
  protected:
    std::string why(const std::string& path, std::size_t linesRead = 0) const
    {
        return whyTableIsEmpty(QString::fromStdString(path), linesRead, resources_).toStdString();
    }

    TemporaryFolder folder_;
    TextsInBundle texts_;
    VXStatusResourceController resources_ = texts_.resources();
};

TEST_F(EmptyTableReasonTest, IsThatThereIsNoLogFolder)
{
    const std::string logs = folder_.file("logs/");

    EXPECT_EQ(why(logs), "There is no log folder " + logs +
                             ". Open this window again once the agent is installed and has begun a "
                             "log.");
}

TEST_F(EmptyTableReasonTest, IsThatTheFolderCannotBeRead)
{
    folder_.write("logs", "a file");
    const std::string logs = folder_.file("logs/");

    EXPECT_EQ(why(logs), "The log folder " + logs + " cannot be read: Not a directory");
}

TEST_F(EmptyTableReasonTest, IsThatTheFolderHasNoLog)
{
    const std::string logs = folder_.path() + "/";

    EXPECT_EQ(why(logs), "There is no log of the agent in " + logs +
                             " yet. Open this window again once the agent has begun one.");
}

TEST_F(EmptyTableReasonTest, IsThatTheLogCannotBeReadInTheSystemsWords)
{
    const std::string log = folder_.file("vxsvc_1.log");
    EXPECT_EQ(why(log), "The log " + log + " cannot be read: No such file or directory");
    std::filesystem::create_directory(log);
    EXPECT_EQ(why(log), "The log " + log + " cannot be read: Is a directory");
    std::filesystem::remove(log);
    ASSERT_EQ(::mkfifo(log.c_str(), 0600), 0);

    EXPECT_EQ(why(log), "The log " + log + " cannot be read: Operation not supported");
}

TEST_F(EmptyTableReasonTest, IsThatNoneOfItsLinesIsARow)
{
    folder_.write("vxsvc_1.log", "a line\n");
    const std::string log = folder_.file("vxsvc_1.log");

    EXPECT_EQ(why(log, 12345),
              "None of the lines in " + log + " is to be shown yet (lines read: 12,345).");
}

} // namespace
} // namespace veltra
