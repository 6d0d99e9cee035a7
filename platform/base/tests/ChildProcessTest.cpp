#include "platform/base/ChildProcess.h"

#include "platform/base/DescriptorLimit.h"
#include "platform/base/Fd.h"
#include "platform/base/tests/ForkedChild.h"

#include <array>
#include <csignal>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {
namespace {

struct EndedShell {
    std::string output;
    int status = -1;
};

// Runs a shell command line, which leads a process group if asked to.
EndedShell runShell(const std::string& command, bool leadsGroup = false)
{
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Fd read{ends[0]};
    Fd write{ends[1]};
    const auto child = startChild({.program = "/bin/sh",
                                   .arguments = {"-c", command},
                                   .environment = {"WORD=given"},
                                   .standardOutput = write.get(),
                                   .standardError = STDERR_FILENO,
                                   .folder = "/usr",
                                   .leadsGroup = leadsGroup});
    if (!child)
        return {};
    write = {};

    EndedShell ended;
    std::array<char, 1024> block{};
    for (ssize_t count = 0; (count = ::read(read.get(), block.data(), block.size())) > 0;)
        ended.output.append(block.data(), static_cast<std::size_t>(count));
    int status = 0;
    EXPECT_EQ(::waitpid(child.value(), &status, 0), child.value());
    ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ended;
}

TEST(ChildProcess, GetsItsArgumentsEnvironmentAndFolder)
{
    const EndedShell ended = runShell("echo $WORD $HOME; pwd; exit 7");

    EXPECT_EQ(ended.output, "given\n/usr\n");
    EXPECT_EQ(ended.status, 7);
}

TEST(ChildProcess, HasNothingToReadAndNoneOfOurDescriptors)
{
    const Fd ours{::open("/dev/null", O_RDONLY)};

    EXPECT_EQ(runShell("cat; cd /proc/self/fd; echo *").output,
              "0 1 2 3\n"); // the shell reads the folder
}

TEST(ChildProcess, LeadsAGroupOnlyIfAsked)
{
    const std::string own = std::to_string(::getpgrp()) + "\n";

    EXPECT_EQ(runShell("cut -d ' ' -f 5 /proc/self/stat").output, own);
    EXPECT_NE(runShell("cut -d ' ' -f 5 /proc/self/stat", true).output, own);
}

TEST(ChildProcess, HasNoSignalBlockedOrIgnored)
{
    const int result = runInChild([] {
        std::signal(SIGPIPE, SIG_IGN);
        sigset_t all{};
        ::sigfillset(&all);
        ::sigprocmask(SIG_SETMASK, &all, nullptr);

        EXPECT_EQ(runShell("grep -E 'SigBlk|SigIgn' /proc/self/status").output,
                  "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");

        sigset_t now{};
        ::sigprocmask(SIG_SETMASK, nullptr, &now);
        EXPECT_EQ(::sigismember(&now, SIGTERM), 1);
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST(ChildProcess, HasTheLimitOfDescriptorsThatWeHadAtFirst)
{
    const int result = runInChild([] {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        if (limit.rlim_max < 600)
            return 1;
        limit.rlim_cur = 500;
        ::setrlimit(RLIMIT_NOFILE, &limit);

        raiseDescriptorLimit();
        rlimit raised{};
        ::getrlimit(RLIMIT_NOFILE, &raised);

        EXPECT_EQ(raised.rlim_cur, limit.rlim_max);
        EXPECT_EQ(runShell("ulimit -S -n").output, "500\n");
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST(ChildProcess, SaysWhyItCannotBeStarted)
{
    for (const auto& [program, reason] :
         {std::pair{"/there/is/no/such/program", std::errc::no_such_file_or_directory},
          std::pair{"/etc/passwd", std::errc::permission_denied}}) {
        const auto child = startChild({.program = program,
                                       .arguments = {},
                                       .environment = {},
                                       .standardOutput = STDOUT_FILENO,
                                       .standardError = STDERR_FILENO});

        ASSERT_FALSE(child);
        EXPECT_EQ(child.error().code(), reason);
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    }
}

} // namespace
} // namespace veltra
