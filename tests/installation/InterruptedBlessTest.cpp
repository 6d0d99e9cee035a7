// The tool when it is killed at any of its changes, and when it is held up.
#include "platform/signing/tests/SignedFile.h"
#include "tests/installation/InstallationTesting.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

using namespace veltra;

namespace {

using Call = __ptrace_syscall_info;

bool changesFiles(const Call& call)
{
    switch (call.entry.nr) {
    case SYS_openat:
        return (call.entry.args[2] & O_CREAT) != 0;
    case SYS_mkdir:
    case SYS_mkdirat:
    case SYS_fchown:
    case SYS_fchmod:
    case SYS_sendfile:
    case SYS_write:
    case SYS_fsync:
    case SYS_rename:
    case SYS_unlink:
        return true;
    default:
        return false;
    }
}

/// Starts the tool with a verb, stopped under ptrace.
pid_t startTraced(const char* verb)
{
    const std::string group = ownUnitGroup();
    const pid_t tool = ::fork();
    if (tool == 0) {
        join(group);
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::execl(adminTool.c_str(), adminTool.c_str(), verb, nullptr);
        ::_exit(127);
    }
    ::waitpid(tool, nullptr, 0);
    ::ptrace(PTRACE_SETOPTIONS, tool, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    return tool;
}

bool isAboutTo(bool (*makes)(const Call&), pid_t process)
{
    Call call{};
    return ::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof call, &call) > 0 &&
           call.op == PTRACE_SYSCALL_INFO_ENTRY && makes(call);
}

/// Lets the tool run until it is about to make such a call. False if it ended without one.
bool goOnUntil(bool (*makes)(const Call&), pid_t tool)
{
    int signal = 0;
    do {
        int status = 0;
        ::ptrace(PTRACE_SYSCALL, tool, nullptr, signal);
        ::waitpid(tool, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status))
            return false;
        signal = WSTOPSIG(status) == (SIGTRAP | 0x80) ? 0 : WSTOPSIG(status);
    } while (signal != 0 || !isAboutTo(makes, tool));
    return true;
}

/// The tool is killed at every change, or at every sixth under systemd, which makes each attempt
/// slow; the tool changes the same files with it and without.
int step()
{
    return isUnderSystemd() ? 6 : 1;
}

/// Runs the tool, and kills it when it is about to make its `last`th change. False if it ended
/// before that.
bool runAndKill(int last)
{
    const pid_t tool = startTraced("bless");
    for (int count = 0; count < last; ++count)
        if (!goOnUntil(changesFiles, tool))
            return false;
    ::kill(tool, SIGKILL);
    ::waitpid(tool, nullptr, 0);
    return true;
}

constexpr std::uint32_t mayBeReplaced = 1;
constexpr std::uint32_t replaces = 2;

bool ownName(BusConnection& bus, std::uint32_t flags)
{
    auto request = bus.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                  "org.freedesktop.DBus", "RequestName");
    auto answer = bus.call(request.append(helperName, flags));
    std::uint32_t result = 0;
    return answer && answer.value().read(result) && result == 1;
}

/// A process that owns the helper's name and runs a program at the helper's path, which sleeps.
pid_t startOwnerInHelpersPlace()
{
    outputOf("cp --remove-destination /bin/sleep " + helperPath);
    const pid_t owner = ::fork();
    if (owner == 0) {
        const auto bus = joinBus();
        if (!ownName(*bus, mayBeReplaced))
            ::_exit(1);
        // To the bus it is still the process that connected.
        for (int descriptor = 3; descriptor < 100; ++descriptor)
            ::fcntl(descriptor, F_SETFD, 0);
        ::execl(helperPath.c_str(), helperPath.c_str(), "1000", nullptr);
        ::_exit(127);
    }
    EXPECT_TRUE(
        becomesTrue([&] { return helperProcess() == owner && programOf(owner) == helperPath; }));
    return owner;
}

} // namespace

TEST(InterruptedBless, LeavesAHelperThatWorks)
{
    EXPECT_EQ(admin("bless"), "");
    outputOf("cp " + helperPath + " /tmp/older");
    signFile("/tmp/older");
    const std::string older = contentOf("/tmp/older");
    const std::string newer = contentOf(helperCopy);
    const std::set<std::string> complete{helperFiles.begin(), helperFiles.end()};
    int olderCount = 0;
    int newerCount = 0;

    for (int last = 1;; last += step()) {
        SCOPED_TRACE(last);
        outputOf("cp --remove-destination /tmp/older " + helperPath);
        if (!runAndKill(last))
            break;

        const std::string now = contentOf(helperPath);
        EXPECT_TRUE(now == older || now == newer);
        ++(now == older ? olderCount : newerCount);
        EXPECT_EQ(programOf(startHelper()), helperPath);
        killHelper();
    }

    // The tool was killed before and after it replaced the helper; the last run, which was not
    // killed, tidied up.
    EXPECT_GT(olderCount * step(), 3);
    EXPECT_GT(newerCount * step(), 10);
    EXPECT_TRUE(isBundledHelperInstalled());
    EXPECT_EQ(installedFiles(), complete);
}

TEST(InterruptedBless, OfAFirstHelperIsMadeGoodByTheNext)
{
    for (int last = 1; runAndKill(last); last += step()) {
    }

    EXPECT_EQ(admin("bless"), "");

    EXPECT_EQ(installedFiles(), (std::set<std::string>{helperFiles.begin(), helperFiles.end()}));
    EXPECT_EQ(programOf(startHelper()), helperPath);
}

TEST(RemoveWithoutSystemd, LeavesAProcessThatLosesTheNameWhileItIsLookedAt)
{
    EXPECT_EQ(admin("bless"), "");
    const pid_t before = startOwnerInHelpersPlace();
    const auto bus = joinBus();

    const pid_t tool = startTraced("remove");
    ASSERT_TRUE(goOnUntil([](const Call& call) { return call.entry.nr == SYS_pidfd_open; }, tool));
    EXPECT_TRUE(ownName(*bus, replaces));
    ::ptrace(PTRACE_DETACH, tool, nullptr, nullptr);
    int status = -1;
    ::waitpid(tool, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(::waitpid(before, nullptr, WNOHANG), 0);
    ::kill(before, SIGKILL);
    ::waitpid(before, nullptr, 0);
}
