// How the tool is started: in ways that are not allowed, and by a malicious user.
#include "tests/installation/InstallationTesting.h"

#include <sys/file.h>

using namespace veltra;

namespace {

const std::string usage =
    "usage: veltra-admin-tool bless | add-right | change-right | remove\nstatus 64";

void expectAllInstalled()
{
    EXPECT_EQ(installedFiles(), (std::set<std::string>{helperFiles.begin(), helperFiles.end()}));
    EXPECT_TRUE(isBundledHelperInstalled());
}

/// Makes every instance of the tool wait for as long as the result lives.
Fd takeLock()
{
    Fd lock{::open("/run/veltra-admin-tool.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    EXPECT_EQ(::flock(lock.get(), LOCK_EX), 0);
    return lock;
}

} // namespace

TEST(AdminTool, TakesOneKnownVerbAndNothingElse)
{
    for (const char* words : {"", "install", "''", "blessx", "bles", "--help", "bless bless",
                              "bless ''", "add-right /tmp/x"})
        EXPECT_EQ(admin(words), usage) << words;

    EXPECT_EQ(installedFiles(), std::set<std::string>{});
    EXPECT_FALSE(std::filesystem::exists(rightsPath));
}

TEST(AdminTool, IsForRootOnly)
{
    for (const char* verb : {"bless", "add-right", "change-right", "remove"})
        EXPECT_EQ(outputOf("setpriv --reuid=65534 --regid=65534 --clear-groups " + adminTool + " " +
                           verb),
                  "veltra-admin-tool: only root may do this\nstatus 77");

    EXPECT_EQ(installedFiles(), std::set<std::string>{});
}

TEST(AdminTool, DoesWithoutStandardStreams)
{
    EXPECT_EQ(outputOf("(exec " + adminTool + " bless <&- >&- 2>&-)"), "");

    expectAllInstalled();
}

TEST(AdminTool, WorksInAPlaceOfItsOwn)
{
    Fd lock = takeLock();
    const std::string group = ownUnitGroup();
    const std::string join = group.empty() ? "" : "echo 0 >" + group + "/cgroup.procs; ";
    ClientProgram tool{
        {"sh", "-c", join + "cd /tmp; umask 0; exec " + adminTool + " bless <&- >&- 2>&-"}};
    const std::string process = "/proc/" + std::to_string(tool.pid());
    const auto linked = [&](const std::string& name) {
        std::error_code ignored;
        return std::filesystem::read_symlink(process + name, ignored).native();
    };

    // The lock is the next thing that it opens.
    EXPECT_TRUE(becomesTrue([&] { return linked("/fd/3") == "/run/veltra-admin-tool.lock"; }));

    for (const char* stream : {"/fd/0", "/fd/1", "/fd/2"})
        EXPECT_EQ(linked(stream), "/dev/null") << stream;
    EXPECT_EQ(linked("/cwd"), "/");
    EXPECT_EQ(statusOf(tool.pid(), "Umask"), 22);
    EXPECT_EQ(::getsid(tool.pid()), tool.pid());
    lock = Fd{};
    EXPECT_EQ(tool.wait(), 0);
}

// ThreadSanitizer itself writes to files when it starts, which these limits prevent.
#ifndef __SANITIZE_THREAD__
TEST(AdminTool, DoesNotMindLowLimits)
{
    EXPECT_EQ(outputOf("(ulimit -S -f 0; ulimit -S -n 4; exec " + adminTool + " bless)"), "");

    expectAllInstalled();
}

// Raising limits that the caller cannot raise needs a capability that root may lack here.
TEST(AdminTool, TouchesNothingWhereALimitCannotBeLifted)
{
    const std::string output = outputOf("ulimit -f 0; " + adminTool + " bless");

    if (output.empty())
        expectAllInstalled();
    else {
        EXPECT_EQ(output, "veltra-admin-tool: cannot raise the resource limits: "
                          "Operation not permitted\nstatus 70");
        EXPECT_EQ(installedFiles(), std::set<std::string>{});
    }
}
#endif

TEST(AdminTool, DoesNotMindSignalsThatAreIgnoredOrBlocked)
{
    EXPECT_EQ(outputOf("env --ignore-signal=CHLD --ignore-signal=TERM --block-signal=CHLD "
                       "--block-signal=TERM " +
                       adminTool + " bless"),
              "");

    expectAllInstalled();
}

TEST(AdminTool, DoesNotMindATimerThatWouldKillIt)
{
    EXPECT_EQ(outputOf("flock /run/veltra-admin-tool.lock sleep 3 & sleep 0.2; "
                       "perl -e 'alarm 2; exec @ARGV' " +
                       adminTool + " bless"),
              "");

    expectAllInstalled();
}

TEST(AdminTool, TakesNothingFromTheEnvironment)
{
    EXPECT_EQ(outputOf("cd /tmp; DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere PATH=/nowhere "
                       "TMPDIR=/nowhere " +
                       adminTool + " bless"),
              "");

    EXPECT_EQ(programOf(startHelper()), helperPath);
}

TEST(AdminTool, LocksOutOthersOnlyWhileItIsAtWork)
{
    // Nobody reads the first one's output, so it never ends.
    outputOf("mkfifo /tmp/full");
    const Fd full{::open("/tmp/full", O_RDWR | O_NONBLOCK | O_CLOEXEC)};
    const std::string filling(4096, 'x');
    while (::write(full.get(), filling.data(), filling.size()) > 0) {
    }
    std::ofstream{rightsPath};
    ClientProgram first{{"sh", "-c", "exec " + adminTool + " add-right 2>/tmp/full"}};

    EXPECT_EQ(outputOf("timeout 20 " + adminTool + " change-right"), "");

    outputOf("rm /tmp/full");
}

TEST(AdminTool, WaitsForItsTurn)
{
    const Fd lock = takeLock();

    EXPECT_EQ(outputOf("timeout 1 " + adminTool + " bless"), "status 124");

    EXPECT_EQ(installedFiles(), std::set<std::string>{});
    if (isUnderSystemd())
        outputOf("systemctl stop 'veltra-admin-tool-*'");
}

TEST(AdminToolUnderSystemd, HandsOnWhatItSaysAndHowItEnds)
{
    EXPECT_EQ(admin("add-right"), "");

    EXPECT_EQ(admin("add-right"),
              "veltra-admin-tool: cannot add " + rightsPath + ": It exists already\nstatus 73");
}

// As a user may in a group that is delegated to him.
TEST(AdminToolUnderSystemd, HoldsNobodyUpWhenItsCallersControlGroupIsFrozen)
{
    const std::string group = "/sys/fs/cgroup/veltra-test-frozen";
    std::filesystem::create_directory(group);
    // Without an answer it waits for a while with the lock held.
    outputOf("systemctl start polkit; systemctl kill -s STOP polkit");
    ClientProgram first{
        {"sh", "-c",
         "echo 0 >" + group + "/cgroup.procs; echo $?; exec " + adminTool + " add-right"}};
    ASSERT_EQ(first.line(), "0");
    ASSERT_TRUE(becomesTrue([] {
        const Fd lock{::open("/run/veltra-admin-tool.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
        return ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0;
    }));

    std::ofstream{group + "/cgroup.freeze"} << "1";
    ASSERT_TRUE(becomesTrue(
        [&] { return contentOf(group + "/cgroup.events").find("frozen 1") != std::string::npos; }));

    EXPECT_EQ(outputOf("timeout 20 " + adminTool + " bless"), "");
    expectAllInstalled();
    EXPECT_TRUE(std::filesystem::exists(rightsPath));

    std::ofstream{group + "/cgroup.freeze"} << "0";
    outputOf("systemctl kill -s CONT polkit");
    EXPECT_EQ(first.wait(), 0);
    EXPECT_TRUE(becomesTrue([&] { return ::rmdir(group.c_str()) == 0; }));
}
