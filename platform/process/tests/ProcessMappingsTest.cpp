#include "platform/process/ProcessMappings.h"

#include "platform/process/tests/AnsweringProcess.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace veltra {
namespace {

using testing::ElementsAre;

// One mapping in smaps, as the kernel writes it.
std::string mapping(const std::string& permissions, const std::string& inode,
                    const std::string& path, const std::string& counts = "Anonymous:  0 kB\n")
{
    return "7f1c2000-7f1c4000 " + permissions + " 00002000 fe:00 " + inode +
           "                     " + path + "\nSize:                  8 kB\n" + counts +
           "Swap:                  0 kB\nSwapPss:               0 kB\nVmFlags: rd ex mr mw me \n";
}

// What is read of such a mapping.
ProcessMapping file(const std::string& path, ino_t inode, bool isWrittenTo = false)
{
    return {0x7f1c2000, 0x7f1c4000, path, makedev(0xFE, 0), inode, isWrittenTo};
}

TakeMapping addTo(std::vector<ProcessMapping>& mappings)
{
    return [&](const ProcessMapping& mapping) -> Result<> {
        mappings.push_back(mapping);
        return success;
    };
}

std::vector<ProcessMapping> mappingsIn(const std::string& smaps)
{
    std::vector<ProcessMapping> mappings;
    std::istringstream lines{smaps};
    EXPECT_TRUE(readExecutableFileMappings(lines, addTo(mappings)));
    return mappings;
}

std::vector<ProcessMapping> mappingsIn(pid_t pid)
{
    std::vector<ProcessMapping> mappings;
    EXPECT_TRUE(readExecutableFileMappings(pid, addTo(mappings)));
    return mappings;
}

// How many are reported before the reading ends, and how it ends.
std::string readingOf(const std::string& smaps, const MappingBounds& bounds)
{
    std::vector<ProcessMapping> mappings;
    std::istringstream lines{smaps};
    const auto read = readExecutableFileMappings(lines, addTo(mappings), bounds);
    return std::to_string(mappings.size()) + (read ? "" : ", " + read.error().message());
}

TEST(ProcessMappings, AreTheExecutableFilesInTheOrderOfTheText)
{
    const auto mappings = mappingsIn(mapping("r-xp", "3", "/usr/bin/cat") +
                                     mapping("rwxs", "1", "/usr/lib/libc.so.6") +
                                     mapping("--xp", "3", "/usr/bin/cat"));

    EXPECT_THAT(mappings, ElementsAre(file("/usr/bin/cat", 3), file("/usr/lib/libc.so.6", 1),
                                      file("/usr/bin/cat", 3)));
}

TEST(ProcessMappings, LeaveOutWhatIsNotToBeExecuted)
{
    const auto mappings = mappingsIn(mapping("r--p", "3", "/usr/share/x-p") +
                                     mapping("rw-s", "4", "/usr/share/icons"));

    EXPECT_THAT(mappings, ElementsAre());
}

TEST(ProcessMappings, LeaveOutMemoryOfNoFile)
{
    const auto mappings = mappingsIn(mapping("rwxp", "0", "") + mapping("r-xp", "0", "[vdso]") +
                                     mapping("r-xp", "0", "[anon:code]"));

    EXPECT_THAT(mappings, ElementsAre());
}

TEST(ProcessMappings, KeepSpacesInPathsAndWordsOfTheKernelBehindThem)
{
    const auto mappings = mappingsIn(mapping("r-xp", "3", "/opt/two  words/r-xp 0 lib .so") +
                                     mapping("r-xp", "4", "/usr/lib/libc.so.6 (deleted)"));

    EXPECT_THAT(mappings, ElementsAre(file("/opt/two  words/r-xp 0 lib .so", 3),
                                      file("/usr/lib/libc.so.6 (deleted)", 4)));
}

TEST(ProcessMappings, KeepLargeInodes)
{
    const auto mappings = mappingsIn(mapping("r-xp", "18446744073709551615", "/lib"));

    EXPECT_THAT(mappings, ElementsAre(file("/lib", ~ino_t{0})));
}

TEST(ProcessMappings, AreWrittenToWhenTheyThemselvesHavePagesOfTheProcess)
{
    const auto mappings =
        mappingsIn(mapping("r-xp", "1", "/before") +
                   mapping("r-xp", "2", "/written", "Anonymous:             4 kB\n") +
                   mapping("r-xp", "3", "/after"));

    EXPECT_THAT(mappings,
                ElementsAre(file("/before", 1), file("/written", 2, true), file("/after", 3)));
}

TEST(ProcessMappings, AreNotWrittenToByWhatIsWrittenElsewhere)
{
    const std::string written = "Anonymous:             4 kB\n";

    const auto mappings =
        mappingsIn(mapping("r-xp", "1", "/lib") + mapping("rw-p", "1", "/lib", written) +
                   mapping("rwxp", "0", "", written));

    EXPECT_THAT(mappings, ElementsAre(file("/lib", 1)));
}

TEST(ProcessMappings, AreWrittenToAlsoWhenThePagesAreInSwap)
{
    const auto mappings = mappingsIn(
        mapping("r-xp", "2", "/written", "Anonymous: 0 kB\nSwap:                  4 kB\n"));

    EXPECT_THAT(mappings, ElementsAre(file("/written", 2, true)));
}

TEST(ProcessMappings, AreNotWrittenToByCountsOfOtherNames)
{
    const auto mappings = mappingsIn(
        mapping("r-xp", "2", "/lib",
                "Private_Dirty: 4 kB\nAnonHugePages: 4 kB\nSwapPss: 4 kB\nNot Anonymous: 4 kB\n"));

    EXPECT_THAT(mappings, ElementsAre(file("/lib", 2)));
}

TEST(ProcessMappings, PassOverLinesThatSayNothingOfThem)
{
    const auto mappings =
        mappingsIn(mapping("r-xp", "2", "/lib", "\nface\nNew-Count: 1-2\nAnonymous: 4 kB\n"));

    EXPECT_THAT(mappings, ElementsAre(file("/lib", 2, true)));
}

TEST(ProcessMappings, AreNoneOfAnEmptyTextAndOfGarbage)
{
    EXPECT_THAT(mappingsIn(""), ElementsAre());
    EXPECT_THAT(mappingsIn("\n\n"), ElementsAre());
    EXPECT_THAT(mappingsIn("Anonymous: 4 kB\n"), ElementsAre());
    EXPECT_THAT(mappingsIn("-\n7f-8f\n7f-8f r-xp\n7f-8f r-xp zz zz zz zz\n"), ElementsAre());
    EXPECT_THAT(mappingsIn(std::string(1000, '\0')), ElementsAre());
}

TEST(ProcessMappings, OfAnInodeThatCannotBeReadAreKeptWithoutAPath)
{
    const auto mappings =
        mappingsIn(mapping("r-xp", "99999999999999999999999", "/usr/lib/libc.so.6"));

    EXPECT_THAT(mappings, ElementsAre(testing::Field(&ProcessMapping::path, "")));
}

TEST(ProcessMappings, AreReadUpToABoundOfThoseThatAreReported)
{
    const std::string two = mapping("r-xp", "1", "/a") + mapping("rw-p", "1", "/a") +
                            mapping("r-xp", "2", "/b") + mapping("rw-p", "2", "/b");

    EXPECT_EQ(readingOf(two, {.mappings = 2}), "2");
    EXPECT_EQ(readingOf(two + mapping("r-xp", "3", "/c"), {.mappings = 2}),
              "2, it has too many mappings");
}

TEST(ProcessMappings, AreReadUpToABoundOfTextWhateverItSays)
{
    const std::string one = mapping("r-xp", "1", "/a");
    const std::string more = mapping("rw-p", "0", "");

    EXPECT_EQ(readingOf(one + more, {.text = one.size() + more.size()}), "1");
    EXPECT_EQ(readingOf(one + more, {.text = one.size() + more.size() - 1}),
              "1, it has too many mappings");
}

TEST(ProcessMappings, AreReadNoFurtherThanTheirReceiverWants)
{
    std::istringstream lines{mapping("r-xp", "1", "/a") + mapping("r-xp", "2", "/b") +
                             mapping("r-xp", "3", "/c")};
    int count = 0;

    const auto read = readExecutableFileMappings(lines, [&](const auto&) -> Result<> {
        if (++count == 2)
            return Error{std::make_error_code(std::errc::interrupted), "take"};
        return success;
    });

    EXPECT_EQ(count, 2);
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().code(), std::errc::interrupted);
}

TEST(ProcessMappings, OfThisProcessAreFoundByTheirStart)
{
    const Fd file{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};
    void* const start = ::mmap(nullptr, 1, PROT_READ, MAP_PRIVATE, file.get(), 0);
    ASSERT_NE(start, MAP_FAILED);
    const auto address = reinterpret_cast<std::uintptr_t>(start);

    const auto found = ownMappingAt(address);
    ::munmap(start, 1);

    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, std::filesystem::read_symlink("/proc/self/exe"));
    EXPECT_NE(found->inode, 0U);
    EXPECT_FALSE(ownMappingAt(address + 1));
}

TEST(ProcessMappings, OfThisProcessHaveItsExecutable)
{
    struct stat file {};
    ASSERT_EQ(::stat("/proc/self/exe", &file), 0);
    const auto path = std::filesystem::read_symlink("/proc/self/exe").string();

    const auto mappings = mappingsIn(::getpid());

    EXPECT_THAT(mappings, testing::Contains(
                              testing::AllOf(testing::Field(&ProcessMapping::path, path),
                                             testing::Field(&ProcessMapping::inode, file.st_ino))));
    EXPECT_TRUE(std::ranges::none_of(mappings, &ProcessMapping::isWrittenTo));
    EXPECT_TRUE(std::ranges::all_of(
        mappings, [](const ProcessMapping& one) { return one.path.starts_with("/"); }));
}

TEST(ProcessMappings, AreNoneOfAProcessThatIsGone)
{
    AnsweringProcess process{"/bin/cat"};
    const pid_t pid = process.pid();
    EXPECT_THAT(mappingsIn(pid), testing::Not(ElementsAre()));

    process.kill();
    process.reap();

    EXPECT_THAT(mappingsIn(pid), ElementsAre());
}

} // namespace
} // namespace veltra
