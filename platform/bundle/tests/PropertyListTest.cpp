#include "platform/bundle/PropertyList.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>

namespace veltra {
namespace {

using Text = std::optional<std::string>;

const std::string sample = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Example//DTD PLIST 1.0//EN" "http://example.com/plist.dtd">
<!-- about <dict> and </dict> -->
<plist version="1.0">
<dict>
    <key>CFBundleIdentifier</key>
    <string>com.veltra.agentMonitor</string>
    <key>Empty</key>
    <string/>
    <key>Marks</key>
    <string>&lt;&amp;&gt; &#228;&#x263A;<![CDATA[<raw>]]></string>
    <key>List</key>
    <array><string>one</string><dict><key>inner</key><string>two</string></dict></array>
    <key>Number</key>
    <integer>7</integer>
    <key>Yes</key>
    <true/>
</dict>
</plist>
)";

std::string inDictionary(const std::string& content)
{
    return "<plist><dict>" + content + "</dict></plist>";
}

std::error_code failureOf(std::string_view bytes)
{
    const auto list = PropertyList::parse(bytes);
    return list ? std::error_code{} : list.error().code();
}

std::string nested(std::size_t levels)
{
    std::string begin;
    std::string end;
    for (std::size_t level = 0; level < levels; ++level) {
        begin += "<array>";
        end += "</array>";
    }
    return inDictionary("<key>a</key>" + begin + end);
}

TEST(PropertyList, ReadsTexts)
{
    const auto list = PropertyList::parse(sample);

    ASSERT_TRUE(list) << list.error().message();
    EXPECT_EQ(list.value().text("CFBundleIdentifier"), Text{"com.veltra.agentMonitor"});
    EXPECT_EQ(list.value().text("Empty"), Text{""});
}

TEST(PropertyList, ReadsEntitiesCharacterReferencesAndCharacterData)
{
    const auto list = PropertyList::parse(sample);

    ASSERT_TRUE(list) << list.error().message();
    EXPECT_EQ(list.value().text("Marks"), Text{"<&> \xC3\xA4\xE2\x98\xBA<raw>"});
}

TEST(PropertyList, LeavesOutWhatIsNoText)
{
    const auto list = PropertyList::parse(sample);

    ASSERT_TRUE(list) << list.error().message();
    EXPECT_EQ(list.value().text("Number"), std::nullopt);
    EXPECT_EQ(list.value().text("Yes"), std::nullopt);
    EXPECT_EQ(list.value().text("List"), std::nullopt);
    EXPECT_EQ(list.value().text("inner"), std::nullopt);
}

TEST(PropertyList, HasNoTextForAMissingKey)
{
    const auto list = PropertyList::parse(sample);

    ASSERT_TRUE(list) << list.error().message();
    EXPECT_EQ(list.value().text("CFBundleIdentifie"), std::nullopt);
    EXPECT_EQ(list.value().text(""), std::nullopt);
}

TEST(PropertyList, TakesTheLastValueOfAKeyThatOccursTwice)
{
    const auto texts = PropertyList::parse(
        inDictionary("<key>a</key><string>1</string><key>a</key><string>2</string>"));
    const auto other =
        PropertyList::parse(inDictionary("<key>a</key><string>1</string><key>a</key><true/>"));

    ASSERT_TRUE(texts && other);
    EXPECT_EQ(texts.value().text("a"), Text{"2"});
    EXPECT_EQ(other.value().text("a"), std::nullopt);
}

TEST(PropertyList, RefusesAnotherTopLevel)
{
    EXPECT_EQ(failureOf("<plist><array/></plist>"), std::errc::bad_message);
    EXPECT_EQ(failureOf("<plist><string>a</string></plist>"), std::errc::bad_message);
    EXPECT_EQ(failureOf("<plist></plist>"), std::errc::bad_message);
    EXPECT_EQ(failureOf("<dict/>"), std::errc::bad_message);
    EXPECT_EQ(failureOf(""), std::errc::bad_message);
}

TEST(PropertyList, RefusesWhatIsNotWellFormed)
{
    for (const char* content :
         {"<key>a</key>", "<string>a</string>", "<key>a</key><key>b</key><string>c</string>",
          "<key>a</key><string>b</key>", "<key>a</key><array></dict>", "junk",
          "<key>a</key>junk<string>b</string>", "<key>a</key><unknown>b</unknown>",
          "<key>a</key><string>&unknown;</string>", "<key>a</key><string>a & b</string>",
          "<key>a</key><string><array/></string>", "<key>a</key><string x=\"<\">b</string>",
          "<key>a</key><string x=\">b</string>", "<key>a</key><string>\xFF</string>",
          "<key>a</key><string>&#55296;</string>", "<key>a</key><string>&#0;</string>",
          "<!-- never ended ", "<![CDATA[a]]>"})
        EXPECT_EQ(failureOf(inDictionary(content)), std::errc::bad_message) << content;
}

TEST(PropertyList, RefusesAnythingBesideTheRoot)
{
    const std::string good = inDictionary("");

    EXPECT_EQ(failureOf(good + "\n<!-- end -->\n"), std::error_code{});
    EXPECT_EQ(failureOf(good + "junk"), std::errc::bad_message);
    EXPECT_EQ(failureOf("junk" + good), std::errc::bad_message);
    EXPECT_EQ(failureOf(good + good), std::errc::bad_message);
    EXPECT_EQ(failureOf("<plist><dict/><dict/></plist>"), std::errc::bad_message);
    EXPECT_EQ(failureOf("<!DOCTYPE plist [<!ENTITY a \"b\">]>" + good), std::errc::bad_message);
}

TEST(PropertyList, RefusesNulBytesWhereverTheyStand)
{
    ASSERT_EQ(failureOf(sample), std::error_code{});

    for (std::size_t at = 0; at <= sample.size(); ++at) {
        std::string bytes = sample;
        bytes.insert(at, 1, '\0');
        ASSERT_EQ(failureOf(bytes), std::errc::bad_message) << at;
    }
}

TEST(PropertyList, RefusesAListThatIsCutAnywhere)
{
    const std::size_t end = sample.rfind('>') + 1;
    ASSERT_EQ(failureOf(sample.substr(0, end)), std::error_code{});

    for (std::size_t size = 0; size < end; ++size)
        ASSERT_EQ(failureOf(sample.substr(0, size)), std::errc::bad_message) << size;
}

TEST(PropertyList, RefusesElementsTooDeepWithinOneAnother)
{
    EXPECT_EQ(failureOf(nested(62)), std::error_code{});
    EXPECT_EQ(failureOf(nested(63)), std::errc::bad_message);
    EXPECT_EQ(failureOf(nested(60'000)), std::errc::bad_message);
}

TEST(PropertyList, RefusesABinaryList)
{
    plist_t dictionary = plist_new_dict();
    plist_dict_set_item(dictionary, "a", plist_new_string("b"));
    char* bytes = nullptr;
    std::uint32_t size = 0;
    plist_to_bin(dictionary, &bytes, &size);
    plist_free(dictionary);
    const std::string binary{bytes, size};
    std::free(bytes);

    const std::error_code failure = failureOf(binary);

    ASSERT_TRUE(binary.starts_with("bplist"));
    EXPECT_EQ(failure, std::errc::bad_message);
}

TEST(PropertyList, RefusesMoreThanAMegabyte)
{
    const std::string padding((1 << 20) - inDictionary("").size(), ' ');

    EXPECT_EQ(failureOf(inDictionary(padding)), std::error_code{});
    EXPECT_EQ(failureOf(inDictionary(padding + " ")), std::errc::file_too_large);
}

TEST(PropertyList, ReadsAFile)
{
    const TemporaryFolder folder;
    folder.write("Info.plist", sample);

    const auto list = PropertyList::read(folder.file("Info.plist"));

    ASSERT_TRUE(list) << list.error().message();
    EXPECT_EQ(list.value().text("CFBundleIdentifier"), Text{"com.veltra.agentMonitor"});
}

TEST(PropertyList, NamesTheFileThatCannotBeRead)
{
    const TemporaryFolder folder;
    folder.write("bad", "junk");

    const auto missing = PropertyList::read(folder.file("missing"));
    const auto malformed = PropertyList::read(folder.file("bad"));

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message(),
              "read property list " + folder.file("missing") + ": No such file or directory");
    ASSERT_FALSE(malformed);
    EXPECT_EQ(malformed.error().message(),
              "read property list " + folder.file("bad") + ": Bad message");
}

TEST(PropertyList, DoesNotReadOnAndOnInWhatHasNoEnd)
{
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);

    const auto endless = PropertyList::read("/dev/zero");
    const auto pipe = PropertyList::read(folder.file("pipe"));
    const auto directory = PropertyList::read(folder.path());

    ASSERT_FALSE(endless);
    EXPECT_EQ(endless.error().code(), std::errc::file_too_large);
    ASSERT_FALSE(pipe);
    EXPECT_EQ(pipe.error().code(), std::errc::bad_message);
    ASSERT_FALSE(directory);
    EXPECT_EQ(directory.error().code(), std::errc::is_a_directory);
}

// Whatever the bytes are, the result is a list or EBADMSG: nothing crashes, aborts or hangs.
void expectAnAnswer(const std::string& bytes)
{
    const std::error_code failure = failureOf(bytes);
    if (failure && failure != std::errc::bad_message)
        ADD_FAILURE() << failure.message() << " for " << bytes;
}

TEST(PropertyList, SurvivesAnyByteReplaced)
{
    std::size_t accepted = 0;

    for (std::size_t at = 0; at < sample.size(); ++at)
        for (char value : {'\0', '<', '>', '/', '&', '!', '"', 'a', '\x80', '\xFF'}) {
            std::string bytes = sample;
            bytes[at] = value;
            expectAnAnswer(bytes);
            accepted += failureOf(bytes) ? 0 : 1;
        }

    EXPECT_GT(accepted, 0U);
    EXPECT_LT(accepted, sample.size() * 10);
}

TEST(PropertyList, SurvivesRandomDamage)
{
    std::mt19937 random{20240229};
    const auto below = [&](std::size_t limit) { return random() % limit; };
    const std::array<std::string, 12> pieces{"<dict>", "</dict>", "<array>",      "</array>",
                                             "<!--",   "-->",     "<key>a</key>", "<![CDATA[",
                                             "]]>",    "&#",      "<plist>",      "</plist>"};

    for (int round = 0; round < 100'000; ++round) {
        std::string bytes = sample;
        for (std::size_t change = below(6) + 1; change > 0; --change) {
            const std::size_t at = below(bytes.size());
            switch (below(4)) {
            case 0:
                bytes[at] = static_cast<char>(below(256));
                break;
            case 1:
                bytes.erase(at, below(40));
                break;
            case 2:
                bytes.insert(at, pieces.at(below(pieces.size())));
                break;
            default:
                bytes.insert(at, bytes.substr(below(bytes.size()), below(200)));
                break;
            }
            if (bytes.empty())
                bytes = "<";
        }
        expectAnAnswer(bytes);
    }
}

} // namespace
} // namespace veltra
