#include "agentmon/AgentProcess.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/log/tests/RecordingSink.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {
namespace {

TEST(Exec, GivesWhatTheCommandPrintsUntrimmed)
{
    EXPECT_EQ(exec("printf ' 1234\\n 5678\\n\\n'"), " 1234\n 5678\n\n");
}

TEST(Exec, GivesNothingForACommandThatPrintsNothing)
{
    EXPECT_EQ(exec("true"), "");
}

TEST(Exec, NeedsNoLineBreakAtTheEnd)
{
    EXPECT_EQ(exec("printf 1234"), "1234");
}

TEST(Exec, PutsLinesLongerThanItsReadsTogether)
{
    for (const std::size_t length : {126U, 127U, 128U, 254U, 1000U}) {
        const std::string line(length, 'x');

        EXPECT_EQ(exec(("printf '%s\\n' " + line).c_str()), line + "\n") << length;
    }
}

TEST(Exec, GivesMegabytesWhole)
{
    const std::string output = exec("seq 1000000");

    EXPECT_EQ(output.size(), 6'888'896U);
    EXPECT_TRUE(output.starts_with("1\n2\n3\n"));
    EXPECT_TRUE(output.ends_with("\n999999\n1000000\n"));
}

TEST(Exec, LosesTheRestOfALineBehindANulByteOnly)
{
    EXPECT_EQ(exec("printf 'one\\0lost\\ntwo\\n'"), "onetwo\n");
}

TEST(Exec, GivesTheOutputOfACommandThatFails)
{
    EXPECT_EQ(exec("echo 1234; exit 3"), "1234\n");
    EXPECT_EQ(exec("exit 3"), "");
    EXPECT_EQ(exec("/there/is/no/such/program 2>/dev/null"), "");
}

TEST(Exec, GivesWhatACommandPrintedBeforeItWasKilled)
{
    EXPECT_EQ(exec("echo 1234; kill -9 $$; echo 5678"), "1234\n");
}

TEST(Exec, LeavesStandardErrorAlone)
{
    testing::internal::CaptureStderr();

    EXPECT_EQ(exec("echo no >&2; echo yes"), "yes\n");

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "no\n");
}

TEST(Exec, LeavesNoProcessBehind)
{
    EXPECT_EQ(exec("echo 1234"), "1234\n");

    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(Exec, LogsThatThereIsNoPipeAndGivesNothing)
{
    EXPECT_EQ(runInChild([] {
                  const auto recording = std::make_shared<Recording>();
                  SystemLog log{Recording::sink(recording)};
                  const SystemLog::Redirection redirection{log};
                  const rlimit none{.rlim_cur = 0, .rlim_max = 0};
                  EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);

                  EXPECT_EQ(exec("echo 1234"), "");

                  log.drain();
                  EXPECT_EQ(recording->messages(),
                            std::vector<std::string>{"Exception in exec() function call"});
                  return 0;
              }),
              0);
}

TEST(FirstPidIn, IsTheNumberThatTheAnswerBeginsWith)
{
    EXPECT_EQ(firstPidIn("1234\n"), 1234);
    EXPECT_EQ(firstPidIn("1234\n5678\n"), 1234);
    EXPECT_EQ(firstPidIn("  \n\t 1234"), 1234);
    EXPECT_EQ(firstPidIn("1234abc"), 1234);
}

TEST(FirstPidIn, IsMinusOneWhenThereIsNothingButWhiteSpace)
{
    EXPECT_EQ(firstPidIn(""), -1);
    EXPECT_EQ(firstPidIn("\n"), -1);
    EXPECT_EQ(firstPidIn(" \t\n "), -1);
}

TEST(FirstPidIn, IsZeroWhenTheAnswerBeginsWithNoNumber)
{
    EXPECT_EQ(firstPidIn("abc\n"), 0);
    EXPECT_EQ(firstPidIn("abc 1234\n"), 0);
    EXPECT_EQ(firstPidIn("\xFF"), 0);
}

TEST(FirstPidIn, KeepsWithinThirtyTwoBits)
{
    EXPECT_EQ(firstPidIn("99999999999\n"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(firstPidIn("-99999999999\n"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(firstPidIn("-5\n"), -5);
}

TEST(AgentProcessQuery, IsUsedLetterForLetter)
{
    EXPECT_STREQ(
        agentProcessQuery,
        R"(ps -a -w -w -U root -o "pid" -o "command" | grep -i  "/Library/Veltra/agent/bin/vxsvc" | grep -v grep | awk '{print $1}')");
}

TEST(CommandLineHolds, FindsThePathWhateverItsCapitals)
{
    const SleepingProcess process{"/LIBRARY/some/Vxsvc"};

    EXPECT_TRUE(commandLineHolds(process.pid(), "/library/some/vxsvc"));
    EXPECT_TRUE(commandLineHolds(process.pid(), "/vxsvc 1000"));
    EXPECT_FALSE(commandLineHolds(process.pid(), "/library/other/vxsvc"));
}

TEST(CommandLineHolds, IsFalseForAProcessThatIsGone)
{
    SleepingProcess process{"/some/vxsvc"};
    process.killAndReap();

    EXPECT_FALSE(commandLineHolds(process.pid(), "/some/vxsvc"));
}

TEST(CommandLineHolds, IsFalseForAZombie)
{
    const SleepingProcess process{"/some/vxsvc"};
    process.kill();
    siginfo_t information{};
    ::waitid(P_PID, static_cast<id_t>(process.pid()), &information, WEXITED | WNOWAIT);

    EXPECT_FALSE(commandLineHolds(process.pid(), "/some/vxsvc"));
}

// What commandLineHolds() returns if the kernel refuses to open any file; see seccomp(2).
int answerWhenNothingCanBeOpened(std::uint16_t error)
{
    return runInChild([error] {
        std::array<sock_filter, 4> filter{{
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        }};
        const sock_fprog program{.len = filter.size(), .filter = filter.data()};
        EXPECT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        EXPECT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);

        return commandLineHolds(::getpid(), "no such text") ? 1 : 0;
    });
}

TEST(CommandLineHolds, IsFalseWhenTheProcessGoesWhileItsFileIsOpened)
{
    EXPECT_EQ(answerWhenNothingCanBeOpened(ENOENT), 0);
    EXPECT_EQ(answerWhenNothingCanBeOpened(ESRCH), 0);
}

TEST(CommandLineHolds, IsTrueWhenItCannotBeTold)
{
    EXPECT_EQ(answerWhenNothingCanBeOpened(EACCES), 1);
    EXPECT_EQ(answerWhenNothingCanBeOpened(EMFILE), 1);
}

} // namespace
} // namespace veltra
