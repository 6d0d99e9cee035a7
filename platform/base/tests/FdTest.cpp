#include "platform/base/Fd.h"

#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

int openNull()
{
    return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(Fd, IsEmptyWhenDefaultMadeOrMadeFromAFailure)
{
    const Fd none;
    const Fd failed{::open("/nonexistent/file", O_RDONLY | O_CLOEXEC)};

    EXPECT_FALSE(none);
    EXPECT_FALSE(failed);
    EXPECT_LT(none.get(), 0);
}

TEST(Fd, ClosesWhatItOwns)
{
    const int descriptor = openNull();

    {
        const Fd fd{descriptor};
        EXPECT_TRUE(fd);
        EXPECT_EQ(fd.get(), descriptor);
        EXPECT_TRUE(isOpen(descriptor));
    }

    EXPECT_FALSE(isOpen(descriptor));
}

TEST(Fd, TakesOverWithoutClosingWhenMoved)
{
    const int descriptor = openNull();
    Fd source{descriptor};

    const Fd target{std::move(source)};

    EXPECT_EQ(target.get(), descriptor);
    EXPECT_TRUE(isOpen(descriptor));
}

TEST(Fd, ClosesWhatItOwnedWhenAssigned)
{
    const int first = openNull();
    const int second = openNull();
    Fd target{first};

    target = Fd{second};

    EXPECT_FALSE(isOpen(first));
    EXPECT_TRUE(isOpen(second));
    EXPECT_EQ(target.get(), second);
}

TEST(Fd, ClosesDescriptorZeroWhenAssigned)
{
    const Fd standardInput{::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)};
    ASSERT_EQ(::dup2(Fd{openNull()}.get(), STDIN_FILENO), STDIN_FILENO);
    Fd target{STDIN_FILENO};

    target = Fd{};

    EXPECT_FALSE(isOpen(STDIN_FILENO));
    ::dup2(standardInput.get(), STDIN_FILENO);
}

TEST(Fd, SurvivesBeingAssignedToItself)
{
    Fd fd{openNull()};
    Fd& same = fd;

    fd = std::move(same);

    EXPECT_TRUE(isOpen(fd.get()));
}

TEST(Fd, HandsItsDescriptorToTheCaller)
{
    const int descriptor = openNull();
    Fd fd{descriptor};

    const int released = fd.release();

    EXPECT_EQ(released, descriptor);
    EXPECT_FALSE(fd);
    EXPECT_TRUE(isOpen(descriptor));
    EXPECT_EQ(::close(descriptor), 0);
}

} // namespace
} // namespace veltra
