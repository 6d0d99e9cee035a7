// The installation of the helper.
#include "platform/signing/tests/SignedFile.h"
#include "tests/installation/InstallationTesting.h"

using namespace veltra;

namespace {

const std::string resources = VELTRA_TEST_RESOURCES "/helper/";

/// An older helper is installed, signed by somebody else; the test knows its bytes.
class OlderHelper : public testing::Test {
  protected:
    OlderHelper()
    {
        EXPECT_EQ(admin("bless"), "");
        signFile(helperPath);
        before_ = contentOf(helperPath);
        EXPECT_FALSE(isBundledHelperInstalled());
    }

    void expectUntouched() const
    {
        EXPECT_TRUE(contentOf(helperPath) == before_);
        EXPECT_EQ(installedFiles(),
                  (std::set<std::string>{helperFiles.begin(), helperFiles.end()}));
    }

    std::string before_;
};

std::string refusal(const std::string& reason)
{
    return "veltra-admin-tool: cannot " + reason + "\nstatus 70";
}

} // namespace

TEST(Bless, PutsEveryFileInItsPlace)
{
    EXPECT_EQ(admin("bless"), "");

    EXPECT_TRUE(isBundledHelperInstalled());
    EXPECT_EQ(contentOf(unitPath), contentOf(resources + "veltra-agentmonitor-helper.service"));
    EXPECT_EQ(contentOf(busPolicyPath), contentOf(resources + helperName + ".conf"));
    EXPECT_EQ(contentOf(busServicePath), contentOf(resources + helperName + ".service"));
    EXPECT_EQ(installedFiles(), (std::set<std::string>{helperFiles.begin(), helperFiles.end()}));
}

TEST(Bless, MakesEverythingRoots)
{
    EXPECT_EQ(outputOf("umask 0; " + adminTool + " bless"), "");

    EXPECT_EQ(ownershipOf(helperPath), "0:0 755");
    for (const std::string& path : {unitPath, busPolicyPath, busServicePath})
        EXPECT_EQ(ownershipOf(path), "0:0 644") << path;
    for (const std::string folder : {"/Library", "/Library/PrivilegedHelperTools",
                                     "/usr/local/share/dbus-1", busServiceFolder.c_str()})
        EXPECT_EQ(ownershipOf(folder), "0:0 755") << folder;
}

TEST(Bless, HasTheBusStartTheHelper)
{
    EXPECT_EQ(admin("bless"), "");

    EXPECT_EQ(programOf(startHelper()), helperPath);
}

TEST(Bless, LeavesFoldersToTheGroupThatOlderSystemsGaveThemTo)
{
    outputOf("chgrp staff /usr/local /usr/local/share; chmod 2775 /usr/local /usr/local/share");

    EXPECT_EQ(admin("bless"), "");

    EXPECT_EQ(ownershipOf("/usr/local/share"), "0:50 2775");
    EXPECT_EQ(ownershipOf("/usr/local/share/dbus-1"), "0:0 755");
    EXPECT_EQ(ownershipOf(busServicePath), "0:0 644");
    outputOf("chgrp root /usr/local /usr/local/share; chmod 0755 /usr/local /usr/local/share");
}

TEST_F(OlderHelper, IsReplacedAndEnded)
{
    const pid_t older = startHelper();
    ASSERT_NE(older, 0);

    EXPECT_EQ(admin("bless"), "");

    EXPECT_TRUE(isBundledHelperInstalled());
    EXPECT_NE(helperProcess(), older);
    EXPECT_TRUE(ends(older));
    const pid_t newer = startHelper();
    EXPECT_NE(newer, older);
    EXPECT_EQ(programOf(newer), helperPath);
}

TEST_F(OlderHelper, IsEndedWhenItsFileWasReplacedAlready)
{
    const pid_t older = startHelper();
    outputOf("cp " + helperCopy + " /tmp/newer; mv /tmp/newer " + helperPath);
    ASSERT_EQ(programOf(older), helperPath + " (deleted)");

    EXPECT_EQ(admin("bless"), "");

    EXPECT_NE(helperProcess(), older);
}

TEST_F(OlderHelper, StaysWhenTheNewOneIsNotSigned)
{
    outputOf("cp /bin/true " + helperCopy);

    EXPECT_EQ(admin("bless"), refusal("trust " + helperCopy + ": The code is not signed at all"));

    expectUntouched();
}

TEST_F(OlderHelper, StaysWhenTheNewOneIsSignedByOthers)
{
    signFile(helperCopy);

    EXPECT_EQ(admin("bless"), refusal("trust " + helperCopy +
                                      ": It is not signed by those who signed this program"));

    expectUntouched();
}

TEST_F(OlderHelper, StaysWhenAByteOfTheNewOneWasChanged)
{
    changeOneByteOf(helperCopy);

    EXPECT_EQ(admin("bless"),
              refusal("trust " + helperCopy + ": The signature does not fit the code"));

    expectUntouched();
}

TEST_F(OlderHelper, StaysWhenTheToolItselfWasChanged)
{
    // A copy, because a program that runs cannot be written to.
    outputOf("cp " + adminTool + " /tmp/tool");
    const auto end = std::filesystem::file_size("/tmp/tool") - 20000;
    outputOf("printf X | dd of=/tmp/tool bs=1 seek=" + std::to_string(end) +
             " conv=notrunc; mv /tmp/tool " + adminTool);

    EXPECT_NE(admin("bless").find("status 70"), std::string::npos);

    expectUntouched();
}

TEST_F(OlderHelper, StaysWhenThereIsNoNewOne)
{
    outputOf("rm " + helperCopy);

    EXPECT_EQ(admin("bless"), refusal("open " + helperCopy + ": No such file or directory"));

    expectUntouched();
}

TEST_F(OlderHelper, StaysWhenTheNewOneIsALinkOrAPipe)
{
    outputOf("mv " + helperCopy + " /tmp/moved; ln -s /tmp/moved " + helperCopy);
    EXPECT_NE(admin("bless").find("status 70"), std::string::npos);
    expectUntouched();

    outputOf("rm " + helperCopy + "; mkfifo " + helperCopy);
    EXPECT_NE(outputOf("timeout 20 " + adminTool + " bless").find("status 70"), std::string::npos);
    expectUntouched();
}

TEST_F(OlderHelper, StaysWhenTheToolIsNoPartOfABundle)
{
    outputOf("cp " + adminTool + " /opt/Veltra/veltra-admin-tool");

    EXPECT_EQ(outputOf("/opt/Veltra/veltra-admin-tool bless"),
              refusal("find the helper beside /opt/Veltra/veltra-admin-tool: "
                      "This program is not where its bundle holds it"));

    expectUntouched();
}

TEST_F(OlderHelper, RunsOnWhenTheNewOneIsRefused)
{
    const pid_t older = startHelper();
    changeOneByteOf(helperCopy);

    EXPECT_NE(admin("bless"), "");

    EXPECT_EQ(helperProcess(), older);
}

TEST_F(OlderHelper, StaysWhenOthersMayWriteToAFolder)
{
    const std::string folder = "/Library/PrivilegedHelperTools";
    for (const std::string change : {"chmod 0775 ", "chmod 0757 ", "chown 65534 "}) {
        outputOf(change + folder);

        EXPECT_EQ(admin("bless"),
                  refusal("use the folder " + folder + ": Others than root may write to it"));

        expectUntouched();
        outputOf("chown 0:0 " + folder + "; chmod 0755 " + folder);
    }
}

TEST_F(OlderHelper, StaysWhenAGroupMayWriteToAFolderThatNoSystemGaveToIt)
{
    const std::vector<std::pair<std::string, std::string>> folders{
        {"/usr/local/share", "daemon"}, {"/Library/PrivilegedHelperTools", "staff"}};
    for (const auto& [folder, group] : folders) {
        outputOf("chgrp " + group + " " + folder + "; chmod 2775 " + folder);

        EXPECT_EQ(admin("bless"),
                  refusal("use the folder " + folder + ": Others than root may write to it"));

        expectUntouched();
        outputOf("chgrp root " + folder + "; chmod 0755 " + folder);
    }
}

TEST_F(OlderHelper, StaysWhenAFolderIsALink)
{
    outputOf("mv /usr/local/share/dbus-1 /tmp/elsewhere; "
             "ln -s /tmp/elsewhere /usr/local/share/dbus-1");

    EXPECT_EQ(admin("bless"), refusal("open the folder /usr/local/share/dbus-1: Not a directory"));

    expectUntouched();
    outputOf("rm -r /usr/local/share/dbus-1 /tmp/elsewhere");
}

TEST_F(OlderHelper, StaysWhenTheDiskIsFull)
{
    const std::string folder = "/Library/PrivilegedHelperTools";
    const std::string size = std::to_string(before_.size() + 200000);
    outputOf("cp " + helperPath + " /tmp/older; mount -t tmpfs -o mode=755,size=" + size +
             " tmpfs " + folder + "; cp /tmp/older " + helperPath);

    EXPECT_EQ(admin("bless"), refusal("copy " + helperCopy + ": No space left on device"));

    expectUntouched();
    EXPECT_EQ(programOf(startHelper()), helperPath);
    killHelper();
    outputOf("umount -l " + folder);
}

TEST(BlessUnderSystemd, HasAChangedUnitReadAnew)
{
    EXPECT_EQ(admin("bless"), "");
    outputOf("sed -i 's/^Description=.*/Description=An older one/' " + unitPath +
             "; systemctl daemon-reload");
    // systemd does not unload a stopped unit while a running one refers to it.
    outputOf(
        "systemd-run -q --unit=referring -p After=veltra-agentmonitor-helper.service sleep 1000");
    const pid_t older = startHelper();

    EXPECT_EQ(admin("bless"), "");

    EXPECT_TRUE(ends(older));
    EXPECT_NE(startHelper(), older);
    EXPECT_EQ(outputOf("systemctl show -P Description -P ActiveState -P NeedDaemonReload "
                       "veltra-agentmonitor-helper.service"),
              "Helper of the Veltra agent status monitor\nactive\nno\n");
    outputOf("systemctl stop referring.service");
}
