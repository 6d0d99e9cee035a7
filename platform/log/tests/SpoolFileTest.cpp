#include "platform/log/SpoolFile.h"

#include "platform/base/tests/ForkedChild.h"

#include <array>
#include <csignal>
#include <utility>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace veltra {
namespace {

std::string readBack(const SpoolFile& file, std::uint64_t offset, std::size_t size)
{
    std::string bytes(size, '\0');
    return file.read(offset, bytes) ? bytes : "unreadable";
}

bool append(SpoolFile& file, std::string_view first, std::string_view second = {})
{
    return static_cast<bool>(file.append(std::array{first, second}));
}

SpoolFile makeFile()
{
    return std::move(SpoolFile::create("/tmp").value());
}

TEST(SpoolFile, KeepsWhatIsAppendedInOrder)
{
    SpoolFile file = makeFile();

    ASSERT_TRUE(append(file, "abc", "def"));
    ASSERT_TRUE(append(file, "ghi"));

    EXPECT_EQ(file.waiting().size(), 9U);
    EXPECT_EQ(readBack(file, file.waiting().begin, 9), "abcdefghi");
}

TEST(SpoolFile, GoesOnBehindWhatIsDropped)
{
    SpoolFile file = makeFile();
    ASSERT_TRUE(append(file, "abcdef"));

    file.drop(4);
    ASSERT_TRUE(append(file, "gh"));

    EXPECT_EQ(file.waiting().size(), 4U);
    EXPECT_EQ(readBack(file, file.waiting().begin, 4), "efgh");
}

TEST(SpoolFile, GivesTheRoomOfDroppedBytesBack)
{
    SpoolFile file = makeFile();
    ASSERT_TRUE(append(file, std::string(1 << 20, 'a'), "rest"));

    file.drop(1 << 20);

    EXPECT_EQ(readBack(file, 0, 4), std::string(4, '\0'));
    EXPECT_EQ(readBack(file, file.waiting().begin, 4), "rest");
}

TEST(SpoolFile, SaysWhyItCannotBeMade)
{
    const auto file = SpoolFile::create("/there/is/no/such/folder");

    ASSERT_FALSE(file);
    EXPECT_EQ(file.error().code(), std::errc::no_such_file_or_directory);
}

TEST(SpoolFile, SaysThatItCannotReadBeyondItsEnd)
{
    SpoolFile file = makeFile();
    ASSERT_TRUE(append(file, "abc"));

    std::string bytes(4, '\0');
    const bool wasRead = file.read(0, bytes);

    EXPECT_FALSE(wasRead);
    EXPECT_EQ(errno, ENODATA);
}

TEST(SpoolFile, TakesNothingOfWhatTheDiskDoesNotHold)
{
    const int result = runInChild([] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 10, .rlim_max = 10};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        SpoolFile file = makeFile();
        if (!append(file, "abc") || append(file, "def", "ghijk"))
            return 1;
        std::string beyond(4, '\0');
        if (file.waiting().size() != 3 || file.read(0, beyond))
            return 2;
        return append(file, "xyz") && readBack(file, 0, 6) == "abcxyz" ? 0 : 3;
    });

    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
