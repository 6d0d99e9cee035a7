#include "agentmon/AgentProcess.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/log/tests/RecordingSink.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
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
    const std::string output = exec("seq 1000000", 1min).value_or("");

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

using namespace std::chrono_literals;

// The processes whose command line contains `text`.
std::vector<std::int32_t> processesWith(const std::string& text)
{
    std::vector<std::int32_t> found;
    for (const auto& entry : std::filesystem::directory_iterator{"/proc"}) {
        const std::string name = entry.path().filename();
        const bool isProcess = name.find_first_not_of("0123456789") == std::string::npos;
        if (isProcess && commandLineHolds(std::stoi(name), text))
            found.push_back(std::stoi(name));
    }
    return found;
}

TEST(Exec, EndsTheProcessesOfACommandThatTakesTooLongAndSaysSo)
{
    // Numbers of seconds that no other command has. Only one of the two has the output open.
    for (const std::string command :
         {"sleep 7654321.1 | sleep 7654321.2; echo 1234", "exec >&-; sleep 7654321.3"}) {
        const auto recording = std::make_shared<Recording>();
        SystemLog log{Recording::sink(recording)};
        const SystemLog::Redirection redirection{log};

        EXPECT_EQ(exec(command.c_str(), 200ms), std::nullopt);

        const auto deadline = std::chrono::steady_clock::now() + 1min;
        while (!processesWith("sleep 7654321.").empty() &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        EXPECT_EQ(processesWith("sleep 7654321."), std::vector<std::int32_t>{});
        log.drain();
        EXPECT_EQ(recording->messages(),
                  std::vector<std::string>{
                      "The search for the agent's process took too long and was ended"});
    }
}

TEST(Exec, EndsWithoutAMessageWhenItIsStopped)
{
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};
    std::stop_source stop;
    std::jthread stopping{[&stop] {
        while (processesWith("sleep 8765432.1").empty())
            std::this_thread::yield();
        stop.request_stop();
    }};

    EXPECT_EQ(exec("exec sleep 8765432.1", 1h, stop.get_token()), std::nullopt);

    log.drain();
    EXPECT_EQ(recording->count(), 0U);
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

bool everyProcess(std::int32_t /*pid*/)
{
    return true;
}

TEST(FirstPidIn, IsTheNumberThatTheAnswerBeginsWith)
{
    EXPECT_EQ(firstPidIn("1234\n", everyProcess), 1234);
    EXPECT_EQ(firstPidIn("1234\n5678\n", everyProcess), 1234);
    EXPECT_EQ(firstPidIn("  \n\t 1234", everyProcess), 1234);
    EXPECT_EQ(firstPidIn("1234abc", everyProcess), 1234);
}

TEST(FirstPidIn, IsTheFirstNumberThatCounts)
{
    const auto isOdd = [](std::int32_t pid) { return pid % 2 == 1; };

    EXPECT_EQ(firstPidIn("1234\n5678\n91\n93\n", isOdd), 91);
    EXPECT_EQ(firstPidIn("1234\n", isOdd), -1);
    EXPECT_EQ(firstPidIn("1234\nabc\n91\n", isOdd), 0);
}

TEST(FirstPidIn, IsMinusOneWhenThereIsNothingButWhiteSpace)
{
    EXPECT_EQ(firstPidIn("", everyProcess), -1);
    EXPECT_EQ(firstPidIn("\n", everyProcess), -1);
    EXPECT_EQ(firstPidIn(" \t\n ", everyProcess), -1);
}

TEST(FirstPidIn, IsZeroWhenTheAnswerBeginsWithNoNumber)
{
    EXPECT_EQ(firstPidIn("abc\n", everyProcess), 0);
    EXPECT_EQ(firstPidIn("abc 1234\n", everyProcess), 0);
    EXPECT_EQ(firstPidIn("\xFF", everyProcess), 0);
}

TEST(FirstPidIn, IsLessThanOneWhenTheNumberFitsNot)
{
    EXPECT_LT(firstPidIn("99999999999\n", everyProcess), 1);
    EXPECT_LT(firstPidIn("-99999999999\n", everyProcess), 1);
    EXPECT_EQ(firstPidIn("-5\n", everyProcess), -5);
}

TEST(IsOwnedBy, IsTrueForTheRealUserOnly)
{
    const SleepingProcess process;
    const uid_t user = ::getuid();

    EXPECT_TRUE(isOwnedBy(process.pid(), user));
    EXPECT_FALSE(isOwnedBy(process.pid(), user + 1));
    EXPECT_TRUE(isOwnedBy(1, 0));
}

TEST(IsOwnedBy, IsFalseForAProcessThatIsGone)
{
    SleepingProcess process;
    process.killAndReap();

    EXPECT_FALSE(isOwnedBy(process.pid(), ::getuid()));
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
