// Where external forms are stored, and what is not accepted as one.

#include "tests/authorization/PolkitWorld.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

const std::string sharedFolder = "/dev/shm/veltra-auth-1";

mode_t modeOf(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

std::set<std::string> filesIn(const std::string& folder)
{
    std::set<std::string> names;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator{folder, ignored})
        names.insert(entry.path().filename());
    return names;
}

std::string digestOf(const std::string& form)
{
    std::string bytes;
    for (std::size_t i = 0; i < form.size(); i += 2)
        bytes += static_cast<char>(std::stoi(form.substr(i, 2), nullptr, 16));
    std::ofstream{"/tmp/form"} << bytes;
    return outputOf("sha256sum /tmp/form").substr(0, 64);
}

std::string startTimeOf(pid_t process)
{
    const std::string time =
        outputOf("sed 's/.*) //' /proc/" + std::to_string(process) + "/stat | cut -d' ' -f20");
    return time.substr(0, time.find('\n'));
}

/// One user's only form, and somebody who asks what it represents.
class ExternalForm : public testing::Test {
  protected:
    [[nodiscard]] std::string resolvedByRoot() const
    {
        return PolkitClient{0}.ask("resolve " + form_);
    }
    [[nodiscard]] std::string resolvedByItsUser() const
    {
        return PolkitClient{someUser}.ask("resolve " + form_);
    }
    /// After this command, nobody accepts the form.
    void expectRefusedAfter(const std::string& command) const
    {
        ASSERT_EQ(resolvedByRoot(), "0");
        ASSERT_EQ(outputOf("cd " + sharedFolder + "; f=" + file_ + "; " + command), "");
        EXPECT_EQ(resolvedByRoot(), "-60002");
        EXPECT_EQ(resolvedByItsUser(), "-60002");
    }

    PolkitClient client_;
    std::string form_ = client_.ask("form");
    std::string file_ = digestOf(form_);
    std::string path_ = sharedFolder + "/" + file_;
};

TEST_F(ExternalForm, IsKeptUnderItsDigestWhereOnlyItsUserCanRead)
{
    EXPECT_EQ(filesIn(sharedFolder), std::set<std::string>{file_});
    EXPECT_EQ(modeOf(sharedFolder), 0700U);
    EXPECT_EQ(modeOf(path_), 0600U);
    EXPECT_EQ(contentOf(path_),
              "1 " + std::to_string(client_.pid()) + " " + startTimeOf(client_.pid()) + "\n");
}

TEST_F(ExternalForm, IsRemovedWhenItsProcessEndsCleanly)
{
    client_.closeInput();
    EXPECT_EQ(client_.wait(), 0);

    EXPECT_EQ(filesIn(sharedFolder), std::set<std::string>{});
}

TEST_F(ExternalForm, IsRemovedByTheNextProcessWhenItsOwnWasKilled)
{
    client_.kill(SIGKILL);
    client_.wait();
    EXPECT_EQ(filesIn(sharedFolder), std::set<std::string>{file_});

    PolkitClient next;
    const std::string form = next.ask("form");

    EXPECT_EQ(filesIn(sharedFolder), std::set<std::string>{digestOf(form)});
}

TEST_F(ExternalForm, StaysWhenAnotherProcessOfTheUserMakesOne)
{
    PolkitClient next;
    const std::string form = next.ask("form");

    EXPECT_EQ(filesIn(sharedFolder), (std::set<std::string>{file_, digestOf(form)}));
    EXPECT_EQ(resolvedByItsUser(), "0");
}

TEST(ExternalFormPlace, IsTheUsersRuntimeFolderWhereThereIsOne)
{
    outputOf("install -d -m 700 -o 1 -g 1 /run/user/1");
    PolkitClient client;

    const std::string form = client.ask("form");

    EXPECT_EQ(filesIn("/run/user/1/veltra-auth"), std::set<std::string>{digestOf(form)});
    EXPECT_FALSE(fs::exists(sharedFolder));
    EXPECT_EQ(PolkitClient{0}.ask("resolve " + form), "0");
    EXPECT_EQ(PolkitClient{}.ask("resolve " + form), "0");
}

TEST(ExternalFormPlace, IsNotWhatTheEnvironmentSays)
{
    PolkitClient client{someUser, {"XDG_RUNTIME_DIR=/tmp"}};

    const std::string form = client.ask("form");

    EXPECT_EQ(filesIn(sharedFolder), std::set<std::string>{digestOf(form)});
}

TEST(ExternalFormPlace, IsNoFolderThatSomebodyElseMade)
{
    outputOf("install -d -m 777 -o 65534 " + sharedFolder);

    EXPECT_EQ(PolkitClient{}.ask("form"), "-60008");
}

TEST(ExternalFormPlace, IsNoLinkThatSomebodyElseMade)
{
    outputOf("install -d -m 700 -o 1 /tmp/forms; ln -s /tmp/forms " + sharedFolder);

    EXPECT_EQ(PolkitClient{}.ask("form"), "-60008");
}

TEST_F(ExternalForm, IsRefusedWhenOthersMayReadItsFile)
{
    expectRefusedAfter("chmod 644 $f");
}

TEST_F(ExternalForm, IsRefusedWhenOthersMayEnterItsFolder)
{
    expectRefusedAfter("chmod 755 .");
}

TEST_F(ExternalForm, IsRefusedWhenItsFileIsALink)
{
    expectRefusedAfter("mv $f other; ln -s other $f");
}

TEST_F(ExternalForm, IsRefusedWhenItsFileHasAnotherName)
{
    expectRefusedAfter("ln $f other");
}

TEST_F(ExternalForm, IsRefusedWhenItsFileIsSomebodyElses)
{
    expectRefusedAfter("chown 65534 $f");
}

TEST_F(ExternalForm, IsRefusedWhenItsFolderIsSomebodyElses)
{
    expectRefusedAfter("chown 65534 .");
}

TEST_F(ExternalForm, IsRefusedWhenItsFolderIsALink)
{
    expectRefusedAfter("mv ../veltra-auth-1 /dev/shm/elsewhere; "
                       "ln -s /dev/shm/elsewhere ../veltra-auth-1");
}

TEST_F(ExternalForm, IsRefusedWhenItsProcessWasStartedAtAnotherTime)
{
    expectRefusedAfter("sed -i 's/$/0/' $f; chown 1:1 $f");
}

TEST_F(ExternalForm, IsRefusedWhenItNamesAnotherUsersProcess)
{
    const PolkitClient victim{anotherUser};

    expectRefusedAfter("echo 1 " + std::to_string(victim.pid()) + " " + startTimeOf(victim.pid()) +
                       " >$f");
}

TEST_F(ExternalForm, IsRefusedWhenItsFileHoldsMore)
{
    expectRefusedAfter("echo >>$f");
}

TEST_F(ExternalForm, IsRefusedWhenItsFileIsOfAnotherVersion)
{
    expectRefusedAfter("sed -i 's/^1/2/' $f; chown 1:1 $f");
}

TEST_F(ExternalForm, IsRefusedWhenItsFileIsEmpty)
{
    expectRefusedAfter(": >$f");
}

} // namespace
} // namespace veltra
