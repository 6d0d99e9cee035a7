// How the process is set up, and how signals end it.

#include "app/ProcessSetUp.h"
#include "platform/base/ChildProcess.h"
#include "platform/base/Fd.h"
#include "platform/base/tests/ForkedChild.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {
namespace {

struct PipeEnds {
    Fd read;
    Fd write;

    PipeEnds()
    {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        read = Fd{ends[0]};
        write = Fd{ends[1]};
    }

    std::string readToTheEnd() const
    {
        std::string all;
        std::array<char, 4096> block{};
        for (ssize_t count = 0; (count = ::read(read.get(), block.data(), block.size())) > 0;)
            all.append(block.data(), static_cast<std::size_t>(count));
        return all;
    }
};

/// A program that logs that many lines to standard error and then runs its event loop.
class LoggingProgram {
  public:
    explicit LoggingProgram(int lines)
    {
        const auto child = startChild({.program = VELTRA_TEST_LOGGING_PROGRAM,
                                       .arguments = {std::to_string(lines)},
                                       .environment = ownEnvironment(),
                                       .standardOutput = output_.write.get(),
                                       .standardError = error_.write.get()});
        EXPECT_TRUE(child);
        pid_ = child ? child.value() : -1;
        output_.write = {};
        error_.write = {};
    }

    /// Waits until it has logged everything and its event loop runs.
    void waitUntilReady() const
    {
        char ready = 0;
        EXPECT_EQ(::read(output_.read.get(), &ready, 1), 1);
    }

    void signal(int number) const { ::kill(pid_, number); }
    [[nodiscard]] std::string log() const { return error_.readToTheEnd(); }

    /// The signal that ended it; 0 if none did.
    [[nodiscard]] int waitForSignal() const
    {
        int status = 0;
        EXPECT_EQ(::waitpid(pid_, &status, 0), pid_);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

  private:
    PipeEnds output_;
    PipeEnds error_;
    pid_t pid_ = -1;
};

TEST(EndSignals, EndTheProgramByTheSameSignalWhenAllIsLogged)
{
    constexpr int lines = 50'000;
    std::string expected;
    for (int line = 0; line < lines; ++line)
        expected += "line " + std::to_string(line) + "\n";

    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        const LoggingProgram program{lines};
        program.waitUntilReady();

        program.signal(signal);

        EXPECT_TRUE(program.log() == expected + "ended in order\n") << signal;
        EXPECT_EQ(program.waitForSignal(), signal);
    }
}

TEST(EndSignals, EndTheProgramEvenIfNobodyReadsItsLog)
{
    const LoggingProgram program{50'000};
    program.waitUntilReady();

    program.signal(SIGTERM);

    EXPECT_EQ(program.waitForSignal(), SIGTERM);
}

TEST(ProcessSetUp, OpensClosedStandardDescriptorsOnNothing)
{
    const int result = runInChild([] {
        const Fd kept{::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100)};
        for (const int descriptor : {0, 1, 2})
            ::close(descriptor);

        setUpProcess();

        bool isNothing = true;
        for (const char* descriptor : {"/proc/self/fd/0", "/proc/self/fd/1", "/proc/self/fd/2"})
            isNothing &= std::filesystem::read_symlink(descriptor) == "/dev/null";
        ::dup2(kept.get(), STDERR_FILENO);
        return isNothing ? 0 : 1;
    });

    EXPECT_EQ(result, 0);
}

TEST(ProcessSetUp, LeavesOpenStandardDescriptorsAlone)
{
    const int result = runInChild([] {
        const PipeEnds pipe;
        ::dup2(pipe.write.get(), STDOUT_FILENO);

        setUpProcess();

        EXPECT_EQ(::write(STDOUT_FILENO, "x", 1), 1);
        char read = 0;
        EXPECT_EQ(::read(pipe.read.get(), &read, 1), 1);
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST(ProcessSetUp, LetsAPipeThatNobodyReadsDoNoHarm)
{
    const int result = runInChild([] {
        PipeEnds pipe;
        pipe.read = {};

        setUpProcess();

        EXPECT_EQ(::write(pipe.write.get(), "x", 1), -1);
        EXPECT_EQ(errno, EPIPE);
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST(ProcessSetUp, AllowsAsManyDescriptorsAsTheSystemDoes)
{
    const int result = runInChild([] {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max / 2;
        ::setrlimit(RLIMIT_NOFILE, &limit);

        setUpProcess();

        ::getrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_EQ(limit.rlim_cur, limit.rlim_max);
        return 0;
    });

    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
