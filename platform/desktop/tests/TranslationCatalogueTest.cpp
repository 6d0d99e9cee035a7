#include "platform/desktop/TranslationCatalogue.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace veltra {
namespace {

const std::string german = VELTRA_TEST_CATALOGUES "/Texts_de.qm";

std::string bytesOf(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream{path, std::ios::binary}.rdbuf();
    return bytes.str();
}

TEST(TranslationCatalogue, ReadsTheTextsOfACompiledCatalogue)
{
    const auto catalogue = TranslationCatalogue::read(QString::fromStdString(german));

    ASSERT_TRUE(catalogue);
    EXPECT_EQ(catalogue.value().text(QStringLiteral("CLOSE")), QStringLiteral("Schließen"));
    EXPECT_EQ(catalogue.value().text(QStringLiteral("EMPTY")), QString{});
    EXPECT_EQ(catalogue.value().text(QStringLiteral("NOTHING")), QString{});
}

TEST(TranslationCatalogue, IsEmptyWhenJustMade)
{
    EXPECT_EQ(TranslationCatalogue{}.text(QStringLiteral("CLOSE")), QString{});
}

TEST(TranslationCatalogue, RefusesACatalogueThatEndsEarlyInsideASection)
{
    const std::string whole = bytesOf(german);
    ASSERT_GT(whole.size(), 100U);
    std::size_t refused = 0;

    for (std::size_t size = 0; size < whole.size(); ++size)
        refused += TranslationCatalogue::parse(whole.substr(0, size)) ? 0 : 1;

    // A file that ends between two of its few sections cannot be distinguished from a complete one.
    EXPECT_GE(refused, whole.size() - 4);
}

TEST(TranslationCatalogue, StandsEveryByteBeingWrong)
{
    const std::string whole = bytesOf(german);
    std::size_t refused = 0;

    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const char wrong : {'\xff', '\x7f', '\x80', '\0', '\x03'}) {
            std::string bytes = whole;
            bytes[i] = wrong;
            const auto catalogue = TranslationCatalogue::parse(bytes);
            if (catalogue)
                static_cast<void>(catalogue.value().text(QStringLiteral("CLOSE")));
            else
                ++refused;
        }
    }

    EXPECT_GT(refused, 0U);
}

TEST(TranslationCatalogue, RefusesATextOfHalfACharacter)
{
    const std::string odd{"\x3c\xb8\x64\x18\xca\xef\x9c\x95\xcd\x21\x1c\xbf\x60\xa1\xbd\xdd"
                          "\x69\0\0\0\x09\x03\0\0\0\x03"
                          "abc\x01",
                          30};

    const auto catalogue = TranslationCatalogue::parse(odd);

    ASSERT_FALSE(catalogue);
    EXPECT_EQ(catalogue.error().code(), std::errc::bad_message);
}

TEST(TranslationCatalogue, RefusesOtherFiles)
{
    const TemporaryFolder folder;
    std::string foreign = bytesOf(german);
    foreign.at(0) = 'x';
    folder.write("foreign.qm", foreign);
    folder.write("text.qm", "CLOSE = Close\n");
    folder.write("empty.qm", "");
    ASSERT_EQ(::mkfifo(folder.file("pipe.qm").c_str(), 0600), 0);
    folder.write("large.qm", bytesOf(german));
    std::filesystem::resize_file(folder.file("large.qm"), (4U << 20) + 1);

    const auto read = [&](const char* name) {
        return TranslationCatalogue::read(QString::fromStdString(folder.file(name)));
    };

    EXPECT_EQ(read("foreign.qm").error().code(), std::errc::bad_message);
    EXPECT_EQ(read("text.qm").error().code(), std::errc::bad_message);
    EXPECT_EQ(read("empty.qm").error().code(), std::errc::bad_message);
    EXPECT_EQ(read("pipe.qm").error().code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(read("missing.qm").error().code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(read("large.qm").error().code(), std::errc::file_too_large);
}

} // namespace
} // namespace veltra
