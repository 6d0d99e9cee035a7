#include "platform/process/ProcessMappings.h"

#include "platform/process/tests/AnsweringProcess.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
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

TEST(ProcessMappings, AreTheExecutableFilesInTheOrderOfTheText)
{
    const auto mappings = executableFileMappings(mapping("r-xp", "3", "/usr/bin/cat") +
                                                 mapping("rwxs", "1", "/usr/lib/libc.so.6") +
                                                 mapping("--xp", "3", "/usr/bin/cat"));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/usr/bin/cat", 3},
                                      ProcessMapping{"/usr/lib/libc.so.6", 1},
                                      ProcessMapping{"/usr/bin/cat", 3}));
}

TEST(ProcessMappings, LeaveOutWhatIsNotToBeExecuted)
{
    const auto mappings = executableFileMappings(mapping("r--p", "3", "/usr/share/x-p") +
                                                 mapping("rw-s", "4", "/usr/share/icons"));

    EXPECT_THAT(mappings, ElementsAre());
}

TEST(ProcessMappings, LeaveOutMemoryOfNoFile)
{
    const auto mappings =
        executableFileMappings(mapping("rwxp", "0", "") + mapping("r-xp", "0", "[vdso]") +
                               mapping("r-xp", "0", "[anon:code]"));

    EXPECT_THAT(mappings, ElementsAre());
}

TEST(ProcessMappings, KeepSpacesInPathsAndWordsOfTheKernelBehindThem)
{
    const auto mappings =
        executableFileMappings(mapping("r-xp", "3", "/opt/two  words/r-xp 0 lib .so") +
                               mapping("r-xp", "4", "/usr/lib/libc.so.6 (deleted)"));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/opt/two  words/r-xp 0 lib .so", 3},
                                      ProcessMapping{"/usr/lib/libc.so.6 (deleted)", 4}));
}

TEST(ProcessMappings, KeepLargeInodes)
{
    const auto mappings = executableFileMappings(mapping("r-xp", "18446744073709551615", "/lib"));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/lib", ~ino_t{0}}));
}

TEST(ProcessMappings, AreWrittenToWhenTheyThemselvesHavePagesOfTheProcess)
{
    const auto mappings =
        executableFileMappings(mapping("r-xp", "1", "/before") +
                               mapping("r-xp", "2", "/written", "Anonymous:             4 kB\n") +
                               mapping("r-xp", "3", "/after"));

    EXPECT_THAT(mappings,
                ElementsAre(ProcessMapping{"/before", 1}, ProcessMapping{"/written", 2, true},
                            ProcessMapping{"/after", 3}));
}

TEST(ProcessMappings, AreNotWrittenToByWhatIsWrittenElsewhere)
{
    const std::string written = "Anonymous:             4 kB\n";

    const auto mappings = executableFileMappings(mapping("r-xp", "1", "/lib") +
                                                 mapping("rw-p", "1", "/lib", written) +
                                                 mapping("rwxp", "0", "", written));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/lib", 1}));
}

TEST(ProcessMappings, AreWrittenToAlsoWhenThePagesAreInSwap)
{
    const auto mappings = executableFileMappings(
        mapping("r-xp", "2", "/written", "Anonymous: 0 kB\nSwap:                  4 kB\n"));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/written", 2, true}));
}

TEST(ProcessMappings, AreNotWrittenToByCountsOfOtherNames)
{
    const auto mappings = executableFileMappings(
        mapping("r-xp", "2", "/lib",
                "Private_Dirty: 4 kB\nAnonHugePages: 4 kB\nSwapPss: 4 kB\nNot Anonymous: 4 kB\n"));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/lib", 2}));
}

TEST(ProcessMappings, PassOverLinesThatSayNothingOfThem)
{
    const auto mappings = executableFileMappings(
        mapping("r-xp", "2", "/lib", "\nface\nNew-Count: 1-2\nAnonymous: 4 kB\n"));

    EXPECT_THAT(mappings, ElementsAre(ProcessMapping{"/lib", 2, true}));
}

TEST(ProcessMappings, AreNoneOfAnEmptyTextAndOfGarbage)
{
    EXPECT_THAT(executableFileMappings(""), ElementsAre());
    EXPECT_THAT(executableFileMappings("\n\n"), ElementsAre());
    EXPECT_THAT(executableFileMappings("Anonymous: 4 kB\n"), ElementsAre());
    EXPECT_THAT(executableFileMappings("-\n7f-8f\n7f-8f r-xp\n7f-8f r-xp zz zz zz zz\n"),
                ElementsAre());
    EXPECT_THAT(executableFileMappings(std::string(1000, '\0')), ElementsAre());
}

TEST(ProcessMappings, OfAnInodeThatCannotBeReadAreKeptWithoutAPath)
{
    const auto mappings =
        executableFileMappings(mapping("r-xp", "99999999999999999999999", "/usr/lib/libc.so.6"));

    EXPECT_THAT(mappings, ElementsAre(testing::Field(&ProcessMapping::path, "")));
}

TEST(ProcessMappings, OfThisProcessHaveItsExecutable)
{
    struct stat file {};
    ASSERT_EQ(::stat("/proc/self/exe", &file), 0);
    const auto path = std::filesystem::read_symlink("/proc/self/exe").string();

    const auto mappings = executableFileMappings(::getpid());

    EXPECT_THAT(mappings, testing::Contains(ProcessMapping{path, file.st_ino}));
    EXPECT_TRUE(std::ranges::none_of(mappings, &ProcessMapping::isWrittenTo));
    EXPECT_TRUE(std::ranges::all_of(
        mappings, [](const ProcessMapping& one) { return one.path.starts_with("/"); }));
}

TEST(ProcessMappings, AreNoneOfAProcessThatIsGone)
{
    AnsweringProcess process{"/bin/cat"};
    const pid_t pid = process.pid();
    EXPECT_THAT(executableFileMappings(pid), testing::Not(ElementsAre()));

    process.kill();
    process.reap();

    EXPECT_THAT(executableFileMappings(pid), ElementsAre());
}

} // namespace
} // namespace veltra
