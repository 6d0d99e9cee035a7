#include "platform/base/ReplacementFile.h"

#include "platform/base/Folder.h"
#include "platform/base/tests/FileBytes.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

using Names = std::vector<std::string>;

class ReplacementFileTest : public testing::Test {
  protected:
    ReplacementFileTest() { folder_.write("a.service", "old"); }

    [[nodiscard]] Names names() const
    {
        Names names = contentsOfDirectory(folder_.path()).value();
        std::ranges::sort(names);
        return names;
    }

    TemporaryFolder folder_;
    const std::string path_ = folder_.file("a.service");
};

TEST_F(ReplacementFileTest, HasANameThatNobodyTakesForTheOthers)
{
    const auto file = ReplacementFile::createBeside(path_);

    ASSERT_TRUE(file);
    EXPECT_TRUE(names().front().starts_with(".a.service.new-"));
    EXPECT_EQ(names().back(), "a.service");
}

TEST_F(ReplacementFileTest, TakesTheOthersPlaceWithItsOwnPermissions)
{
    auto file = std::move(ReplacementFile::createBeside(path_).value());
    ASSERT_EQ(::write(file.descriptor(), "new", 3), 3);
    struct stat status {};
    ::stat(path_.c_str(), &status);
    status.st_mode = 0640;

    ASSERT_TRUE(file.replace(status));

    EXPECT_EQ(bytesOf(path_), "new");
    ::stat(path_.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(names(), Names{"a.service"});
}

TEST_F(ReplacementFileTest, GoesWithTheObject)
{
    {
        const auto file = ReplacementFile::createBeside(path_);
    }

    EXPECT_EQ(names(), Names{"a.service"});
    EXPECT_EQ(bytesOf(path_), "old");
}

TEST_F(ReplacementFileTest, IsClearedAwayByTheNextWhenItWasLeft)
{
    folder_.write(".a.service.new-abcdef", "");
    folder_.write(".a.service.new-ABC123", "");

    ASSERT_TRUE(ReplacementFile::removeLeftOvers(path_));

    EXPECT_EQ(names(), Names{"a.service"});
}

TEST_F(ReplacementFileTest, IsToldFromOtherFiles)
{
    const Names others{".a.service.new-", ".a.service.new-abcdefg", ".b.service.new-abcdef",
                       "a.service", "a.service.new-abcdef"};
    for (const std::string& name : others)
        folder_.write(name, "");

    ASSERT_TRUE(ReplacementFile::removeLeftOvers(path_));

    EXPECT_EQ(names(), others);
}

TEST_F(ReplacementFileTest, WasNotLeftWhereThereIsNoFolder)
{
    EXPECT_TRUE(ReplacementFile::removeLeftOvers(folder_.file("none/a.service")));
}

} // namespace
} // namespace veltra
