#include "platform/bundle/ExecutableInformation.h"

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/bundle/tests/CraftedExecutable.h"

#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace veltra {
namespace {

constexpr std::size_t megabyte = 1 << 20;

const std::string list = "<plist><dict><key>CFBundleVersion</key><string>1.2.3</string>"
                         "</dict></plist>";

class ExecutableInformation : public testing::Test {
  protected:
    /// The information read from a file that contains `bytes`.
    [[nodiscard]] Result<PropertyList> read(std::string_view bytes) const
    {
        folder_.write("program", bytes);
        return informationOfExecutable(folder_.file("program"));
    }

    [[nodiscard]] std::error_code failure(std::string_view bytes) const
    {
        const auto information = read(bytes);
        return information ? std::error_code{} : information.error().code();
    }

    const TemporaryFolder folder_;
};

std::optional<std::string> versionIn(const Result<PropertyList>& information)
{
    return information ? information.value().text("CFBundleVersion") : std::nullopt;
}

std::string executableWith(const CraftedExecutable::Section& section)
{
    return CraftedExecutable{section}.bytes();
}

TEST_F(ExecutableInformation, IsTheListInTheSection)
{
    const auto information = read(executableWith({.content = list}));

    ASSERT_TRUE(information) << information.error().message();
    EXPECT_EQ(versionIn(information), "1.2.3");
}

TEST_F(ExecutableInformation, IsMissingWithoutTheSection)
{
    for (const char* name : {"info", "info_plist2", "", "__info_plist"})
        EXPECT_EQ(failure(executableWith({.name = name, .content = list})),
                  std::errc::executable_format_error)
            << name;
}

TEST_F(ExecutableInformation, IsMissingInWhatIsNoElfFile)
{
    for (const char* bytes : {"", "\x7F",
                              "\x7F"
                              "ELF",
                              "#!/bin/sh\n", "!<arch>\n"})
        EXPECT_EQ(failure(bytes), std::errc::executable_format_error) << bytes;
    EXPECT_EQ(failure(list), std::errc::executable_format_error);
}

TEST_F(ExecutableInformation, IsMalformedWhenTheListIs)
{
    EXPECT_EQ(failure(executableWith({.content = "junk"})), std::errc::bad_message);
}

TEST_F(ExecutableInformation, WaitsForNoWriterOfAFifo)
{
    const std::string fifo = folder_.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);

    const auto ofFifo = informationOfExecutable(fifo);
    const auto ofFolder = informationOfExecutable(folder_.path());

    ASSERT_FALSE(ofFifo);
    EXPECT_EQ(ofFifo.error().code(), std::errc::executable_format_error);
    ASSERT_FALSE(ofFolder);
    EXPECT_EQ(ofFolder.error().code(), std::errc::executable_format_error);
}

TEST_F(ExecutableInformation, NamesAFileThatIsMissing)
{
    const auto information = informationOfExecutable(folder_.file("missing"));

    ASSERT_FALSE(information);
    EXPECT_EQ(information.error().message(),
              "read information of " + folder_.file("missing") + ": No such file or directory");
}

TEST_F(ExecutableInformation, IsMissingWhenTheFileIsCutShort)
{
    const std::string whole = executableWith({.content = list + std::string(4096, ' ')});

    for (std::size_t size = 0; size < whole.size(); size += 64)
        EXPECT_EQ(failure(whole.substr(0, size)), std::errc::executable_format_error) << size;
    EXPECT_EQ(failure(whole.substr(0, whole.size() - 1)), std::errc::executable_format_error);
}

// Whatever the headers say, the result is the list in the file, or there is none.
TEST_F(ExecutableInformation, SurvivesAnyByteOfTheSectionHeadersChanged)
{
    const CraftedExecutable executable{{.content = list}};
    std::size_t accepted = 0;
    std::size_t refused = 0;

    for (std::size_t at = executable.headersStart(); at < executable.bytes().size(); ++at)
        for (const int change : {0x01, 0x04, 0x10, 0x40, 0x80, 0xFF}) {
            std::string damaged = executable.bytes();
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            const auto information = read(damaged);
            ++(information ? accepted : refused);
            if (information) {
                EXPECT_EQ(versionIn(information), "1.2.3") << "damaged at " << at;
            }
        }

    EXPECT_GT(accepted, 0U);
    EXPECT_GT(refused, 100U);
}

TEST_F(ExecutableInformation, SurvivesAnyByteOfTheFilesHeaderChanged)
{
    const std::string whole = executableWith({.content = list});
    std::size_t refused = 0;

    for (std::size_t at = 0; at < sizeof(Elf64_Ehdr); ++at)
        for (const int change : {0x01, 0x04, 0x10, 0x40, 0x80, 0xFF}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            const auto information = read(damaged);
            if (information) {
                EXPECT_EQ(versionIn(information), "1.2.3") << "damaged at " << at;
            } else {
                ++refused;
            }
        }

    EXPECT_GT(refused, 50U);
}

TEST_F(ExecutableInformation, IsMissingWhenTheSectionIsLargerThanAMegabyte)
{
    const std::string filled = list + std::string(megabyte - list.size(), ' ');

    EXPECT_EQ(versionIn(read(executableWith({.content = filled}))), "1.2.3");
    EXPECT_EQ(failure(executableWith({.content = filled + " "})),
              std::errc::executable_format_error);
}

TEST_F(ExecutableInformation, IsMissingWhenTheSectionHasNoBytesInTheFile)
{
    EXPECT_EQ(failure(executableWith({.content = list, .type = SHT_NOBITS})),
              std::errc::executable_format_error);
}

} // namespace
} // namespace veltra
