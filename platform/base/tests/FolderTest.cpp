#include "platform/base/Folder.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

using Names = std::vector<std::string>;

constexpr uid_t nobody = 65534;

Names sorted(Names names)
{
    std::ranges::sort(names);
    return names;
}

void setModificationDate(const std::string& path, timespec date)
{
    const std::array times{timespec{.tv_sec = 1, .tv_nsec = 1}, date};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

TEST(Folder, NamesFilesFoldersLinksAndHiddenOnesWithoutItselfAndItsParent)
{
    const TemporaryFolder folder;
    folder.write("b.log", "");
    folder.write(".hidden", "");
    folder.write("\xC3\xA4", "");
    std::filesystem::create_directory(folder.file("sub"));
    std::filesystem::create_symlink("nowhere", folder.file("link"));

    const auto names = contentsOfDirectory(folder.path());

    ASSERT_TRUE(names) << names.error().message();
    EXPECT_EQ(sorted(names.value()), sorted({"b.log", ".hidden", "\xC3\xA4", "sub", "link"}));
}

TEST(Folder, ListsNothingInAnEmptyFolder)
{
    const TemporaryFolder folder;

    const auto names = contentsOfDirectory(folder.path());

    ASSERT_TRUE(names) << names.error().message();
    EXPECT_EQ(names.value(), Names{});
}

TEST(Folder, KeepsTheOrderOfTheFileSystem)
{
    const TemporaryFolder folder;
    for (int i = 0; i < 200; ++i)
        folder.write(std::to_string(i), "");
    Names expected;
    for (const auto& entry : std::filesystem::directory_iterator{folder.path()})
        expected.push_back(entry.path().filename());

    const auto names = contentsOfDirectory(folder.path());

    ASSERT_TRUE(names) << names.error().message();
    EXPECT_EQ(names.value(), expected);
}

TEST(Folder, ListsNamesThatAreNotUtf8LikeAnyOther)
{
    const TemporaryFolder folder;
    folder.write("good", "");
    folder.write("bad\xFF", "");
    folder.write("cut\xC3", "");

    const auto names = contentsOfDirectory(folder.path());

    ASSERT_TRUE(names) << names.error().message();
    Names sorted = names.value();
    std::ranges::sort(sorted);
    EXPECT_EQ(sorted, (Names{"bad\xFF", "cut\xC3", "good"}));
}

TEST(Folder, SaysThatAFolderIsMissing)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("missing");

    const auto names = contentsOfDirectory(path);

    ASSERT_FALSE(names);
    EXPECT_EQ(names.error().code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(names.error().message(), "list folder " + path + ": No such file or directory");
}

TEST(Folder, TakesAFileForAnError)
{
    const TemporaryFolder folder;
    folder.write("file", "");

    const auto names = contentsOfDirectory(folder.file("file"));

    ASSERT_FALSE(names);
    EXPECT_EQ(names.error().code(), std::errc::not_a_directory);
}

TEST(Folder, SaysThatAFolderMayNotBeRead)
{
    const TemporaryFolder folder;
    ASSERT_EQ(::chmod(folder.path().c_str(), 0), 0);

    const int failure = runInChild([&] {
        if (::geteuid() == 0 && ::setuid(nobody) != 0)
            return 1;
        const auto names = contentsOfDirectory(folder.path());
        return names ? 2 : names.error().code().value();
    });

    EXPECT_EQ(failure, EACCES);
}

TEST(Folder, DoesNotTakeThePartBeforeANulForThePath)
{
    const TemporaryFolder folder;
    const std::string path = folder.path() + std::string("\0more", 5);

    const auto names = contentsOfDirectory(path);
    const auto date = modificationDate(path);

    ASSERT_FALSE(names);
    EXPECT_EQ(names.error().code(), std::errc::invalid_argument);
    ASSERT_FALSE(date);
    EXPECT_EQ(date.error().code(), std::errc::invalid_argument);
}

TEST(Folder, ReadsAModificationDateToTheNanosecond)
{
    const TemporaryFolder folder;
    folder.write("file", "");
    setModificationDate(folder.file("file"), {.tv_sec = 1700000000, .tv_nsec = 123456789});

    const auto date = modificationDate(folder.file("file"));

    ASSERT_TRUE(date) << date.error().message();
    EXPECT_EQ(date.value().count(), 1700000000'123456789);
}

TEST(Folder, ReadsTheModificationDateOfALinkItself)
{
    const TemporaryFolder folder;
    folder.write("file", "");
    std::filesystem::create_symlink("file", folder.file("link"));
    setModificationDate(folder.file("file"), {.tv_sec = 1000, .tv_nsec = 0});
    setModificationDate(folder.file("link"), {.tv_sec = 2000, .tv_nsec = 0});

    const auto date = modificationDate(folder.file("link"));

    ASSERT_TRUE(date) << date.error().message();
    EXPECT_EQ(date.value(), std::chrono::seconds{2000});
}

TEST(Folder, SaysWhichFileHasNoModificationDate)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("missing");

    const auto date = modificationDate(path);

    ASSERT_FALSE(date);
    EXPECT_EQ(date.error().code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(date.error().message(),
              "read modification date of " + path + ": No such file or directory");
}

} // namespace
} // namespace veltra
