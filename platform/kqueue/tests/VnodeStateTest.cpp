#include "platform/kqueue/VnodeState.h"

#include "platform/base/Fd.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace veltra {
namespace {

class VnodeStateTest : public testing::Test {
  protected:
    VnodeStateTest() { folder_.write("log", ""); }

    [[nodiscard]] Fd openLog() const
    {
        return Fd{::open(folder_.file("log").c_str(), O_RDONLY | O_CLOEXEC)};
    }

    TemporaryFolder folder_;
};

TEST_F(VnodeStateTest, IsOfANameInAFolder)
{
    const Fd log = openLog();
    const Fd folder{::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    struct stat status {};
    ASSERT_EQ(::fstat(folder.get(), &status), 0);

    const VnodeState::Name name = VnodeState::nameOf(log.get());

    EXPECT_EQ(name.base, "log");
    EXPECT_EQ(name.parentDevice, status.st_dev);
    EXPECT_EQ(name.parentInode, status.st_ino);
}

TEST_F(VnodeStateTest, HasTheSameNameOnceItIsUnlinked)
{
    const Fd log = openLog();
    const VnodeState::Name before = VnodeState::nameOf(log.get());

    std::filesystem::remove(folder_.file("log"));

    EXPECT_EQ(VnodeState::nameOf(log.get()), before);
    EXPECT_EQ(before.base, "log");
}

} // namespace
} // namespace veltra
