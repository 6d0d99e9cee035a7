// An installation that is killed wherever it changes something.
#include "platform/signing/tests/SignedFile.h"
#include "tests/installation/InstallationTesting.h"

#include <sys/ptrace.h>

using namespace veltra;

namespace {

bool changesFiles(const __ptrace_syscall_info& call)
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

bool isAboutToChangeFiles(pid_t process)
{
    __ptrace_syscall_info call{};
    return ::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof call, &call) > 0 &&
           call.op == PTRACE_SYSCALL_INFO_ENTRY && changesFiles(call);
}

/// From one change at which the tool is killed to the next that is tried. systemd makes each try
/// slow, and the tool changes the same files with it and without.
int step()
{
    return isUnderSystemd() ? 3 : 1;
}

/// Runs the tool, and kills it when it is about to change something for the `last`th time. False
/// when it does not that often, but ended.
bool runAndKill(int last)
{
    const pid_t tool = ::fork();
    if (tool == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::execl(adminTool.c_str(), adminTool.c_str(), "bless", nullptr);
        ::_exit(127);
    }
    int status = 0;
    int signal = 0;
    ::waitpid(tool, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, tool, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int count = 0; count < last;) {
        ::ptrace(PTRACE_SYSCALL, tool, nullptr, signal);
        ::waitpid(tool, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status))
            return false;
        const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        signal = isCall ? 0 : WSTOPSIG(status);
        if (isCall && isAboutToChangeFiles(tool))
            ++count;
    }
    ::kill(tool, SIGKILL);
    ::waitpid(tool, &status, 0);
    return true;
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

    // It was killed before and after the blow at which the helper is replaced, and the last, which
    // was not killed, tidied up.
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
