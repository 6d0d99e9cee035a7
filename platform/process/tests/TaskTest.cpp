#include "platform/process/Task.h"

#include "platform/base/Utf8.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {
namespace {

using Words = std::vector<std::string>;

std::ptrdiff_t openDescriptors()
{
    return std::ranges::distance(std::filesystem::directory_iterator{"/proc/self/fd"});
}

class TaskTest : public testing::Test {
  protected:
    [[nodiscard]] EventLoop& loop() const { return *loop_; }

    [[nodiscard]] Task shell(const std::string& script) { return task("/bin/sh", {"-c", script}); }

    [[nodiscard]] Task task(const std::string& program, Words arguments)
    {
        return {.launchPath = program,
                .arguments = std::move(arguments),
                .environment = {"PATH=/usr/bin:/bin"},
                .standardOutput = [this](std::string_view piece) { take(output_, piece); },
                .standardError = [this](std::string_view piece) { take(error_, piece); },
                .terminationHandler =
                    [this](int status) {
                        status_ = status;
                        stopWhenOver();
                    }};
    }

    /// Runs a program until it has ended and its output is closed.
    void run(Task task)
    {
        ASSERT_TRUE(launch(loop(), std::move(task)));
        EXPECT_TRUE(loop().run());
    }

    static std::string join(const Words& pieces)
    {
        std::string joined;
        for (const std::string& piece : pieces)
            joined += piece;
        return joined;
    }
    [[nodiscard]] std::string output() const { return join(output_); }
    [[nodiscard]] std::string error() const { return join(error_); }
    [[nodiscard]] const Words& outputPieces() const { return output_; }
    [[nodiscard]] const Words& errorPieces() const { return error_; }
    [[nodiscard]] std::optional<int> status() const { return status_; }

  private:
    void take(Words& pieces, std::string_view piece)
    {
        pieces.emplace_back(piece);
        open_ -= piece.empty() ? 1 : 0;
        stopWhenOver();
    }
    void stopWhenOver()
    {
        if (open_ == 0 && status_)
            loop().stop();
    }

    std::unique_ptr<EventLoop> loop_ = std::move(EventLoop::open({}).value());
    Words output_;
    Words error_;
    int open_ = 2;
    std::optional<int> status_;
};

TEST_F(TaskTest, GivesWhatTheProgramPrintsAndItsExitStatus)
{
    run(shell("echo out; echo err >&2; exit 3"));

    EXPECT_EQ(output(), "out\n");
    EXPECT_EQ(error(), "err\n");
    EXPECT_EQ(status(), 3);
}

TEST_F(TaskTest, AsksTheProgramToTerminateWhenItsTimeIsOver)
{
    Task task = shell("echo started; exec sleep 1000");
    task.timeLimit = std::chrono::milliseconds{50};

    run(std::move(task));

    EXPECT_EQ(status(), SIGTERM);
}

TEST_F(TaskTest, AwaitsAProgramThatDoesNotLetItselfBeAsked)
{
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.file("asked").c_str(), 0600), 0);
    Task task = shell("trap 'echo asked; exit 3' TERM; echo started; read nothing <" +
                      folder.file("asked"));
    task.timeLimit = std::chrono::seconds{2};

    run(std::move(task));

    EXPECT_EQ(output(), "started\nasked\n");
    EXPECT_EQ(status(), 3);
}

TEST_F(TaskTest, EndsEachStreamWithOneEmptyPiece)
{
    run(shell("echo out"));

    EXPECT_EQ(outputPieces(), (Words{"out\n", ""}));
    EXPECT_EQ(errorPieces(), Words{""});
}

TEST_F(TaskTest, GivesEachPieceWhenItIsPrinted)
{
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.file("go").c_str(), 0600), 0);
    Task talker = shell("printf one; read go <" + folder.file("go") + "; printf two");
    talker.standardOutput = [&, take = talker.standardOutput](std::string_view piece) {
        take(piece);
        if (piece == "one")
            folder.write("go", "on\n");
    };

    run(std::move(talker));

    EXPECT_EQ(outputPieces(), (Words{"one", "two", ""}));
}

TEST_F(TaskTest, GivesLinesThatAreFlushedOneByOneTogether)
{
    run(shell("for line in 1 2 3 4; do echo $line; done"));

    EXPECT_EQ(outputPieces(), (Words{"1\n2\n3\n4\n", ""}));
}

// A program that is never silent, and that would take an hour to fill a piece, ends when it is
// heard.
TEST_F(TaskTest, GivesWhatAProgramPrintsThatIsNeverSilentForLong)
{
    const TemporaryFolder folder;
    Task talker = shell("until [ -e " + folder.file("go") + " ]; do echo x; sleep 0.05; done");
    talker.standardOutput = [&, take = talker.standardOutput](std::string_view piece) {
        take(piece);
        folder.write("go", "");
    };

    run(std::move(talker));

    EXPECT_EQ(output().substr(0, 2), "x\n");
}

TEST_F(TaskTest, GivesPiecesOfASixteenthOfAMebibyteOfAFlood)
{
    run(shell("head -c 1048576 /dev/zero"));

    Words pieces = outputPieces();
    EXPECT_EQ(output().size(), 1048576U);
    EXPECT_LE(std::ranges::max(pieces, {}, &std::string::size).size(), 65536U);
    EXPECT_LT(pieces.size(), 100U) << "it takes 17 if the program is never slow";
}

// A pipe is full with less than it could hold if each write takes a page of its own.
TEST_F(TaskTest, ReadsAFloodAtFullSpeedHoweverItIsWritten)
{
    const auto start = std::chrono::steady_clock::now();

    run(shell("dd if=/dev/zero bs=2100 count=40000 2>/dev/null"));

    EXPECT_EQ(output().size(), 84'000'000U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes{1});
}

TEST_F(TaskTest, CarriesTheStartOfACharacterToTheNextPiece)
{
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.file("go").c_str(), 0600), 0);
    Task talker = shell(R"(printf 'a\303'; read go <)" + folder.file("go") + R"(; printf '\244b')");
    talker.standardOutput = [&, take = talker.standardOutput](std::string_view piece) {
        take(piece);
        if (piece == "a")
            folder.write("go", "on\n");
    };

    run(std::move(talker));

    EXPECT_EQ(outputPieces(), (Words{"a",
                                     "\xC3\xA4"
                                     "b",
                                     ""}));
}

TEST_F(TaskTest, CutsNoCharacterOfAFlood)
{
    run(shell("printf a; yes '\xE6\x97\xA5' | tr -d '\\n' | head -c 3000000"));

    EXPECT_EQ(output().size(), 3'000'001U);
    for (const std::string& piece : outputPieces())
        EXPECT_TRUE(isValidUtf8(piece));
}

TEST_F(TaskTest, GivesTheRestOfACharacterWithoutAnEndAsAPiece)
{
    run(shell(R"(printf 'a\303')"));

    EXPECT_EQ(outputPieces(), (Words{"a", "\xC3", ""}));
}

TEST_F(TaskTest, ReadsNothingWhileTheGateIsClosed)
{
    bool isOpen = false;
    EventLoop::Registration later;
    Task held = shell("seq 100000");
    held.gate = std::make_shared<ReadingGate>(loop(), [&] { return isOpen; });
    const auto gate = held.gate;
    later = loop().callAfter(std::chrono::milliseconds{300}, [&] {
        EXPECT_EQ(outputPieces(), Words{});
        isOpen = true;
        gate->opened();
    });

    run(std::move(held));

    EXPECT_EQ(output().size(), 588'895U);
}

TEST_F(TaskTest, LeavesNothingOfAProgramThatAClosedGateHoldsBack)
{
    const auto before = openDescriptors();
    {
        const auto shortLived = std::move(EventLoop::open({}).value());
        Task held = shell("echo out");
        held.gate = std::make_shared<ReadingGate>(*shortLived, [] { return false; });
        held.terminationHandler = [&](int) { shortLived->stop(); };
        ASSERT_TRUE(launch(*shortLived, std::move(held)));
        EXPECT_TRUE(shortLived->run());
    }

    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TaskTest, GivesTheNumberOfTheSignalThatEndedTheProgram)
{
    run(shell("kill -TERM $$"));

    EXPECT_EQ(status(), SIGTERM);
}

TEST_F(TaskTest, HandsEveryArgumentOverAsItIs)
{
    run(task("/usr/bin/printf", {"<%s>", "two words", "", "$HOME; `id`", "\n"}));

    EXPECT_EQ(output(), "<two words><><$HOME; `id`><\n>");
}

TEST_F(TaskTest, GivesTheProgramItsEnvironmentAndNoOther)
{
    run(task("/usr/bin/env", {}));

    EXPECT_EQ(output(), "PATH=/usr/bin:/bin\n");
}

TEST_F(TaskTest, StartsTheProgramInTheRootFolderWithNothingToRead)
{
    run(shell("pwd; cat; readlink /proc/self/fd/0"));

    EXPECT_EQ(output(), "/\n/dev/null\n");
}

TEST_F(TaskTest, GivesTheProgramNoOtherDescriptor)
{
    const Fd inheritable{::open("/dev/null", O_RDONLY)}; // NOLINT(*-cloexec-*): on purpose
    ASSERT_TRUE(inheritable);

    run(task("/bin/ls", {"/proc/self/fd"}));

    EXPECT_EQ(output(), "0\n1\n2\n3\n") << "the last is that of ls itself";
}

TEST_F(TaskTest, BlocksAndIgnoresNoSignalOfTheProgram)
{
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t usual{};
    sigset_t blocked{};
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &usual);

    run(task("/bin/grep", {"-E", "^Sig(Blk|Ign)", "/proc/self/status"}));

    ::pthread_sigmask(SIG_SETMASK, &usual, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    // The C library reserves the first two real-time signals for itself.
    EXPECT_THAT(output(), testing::MatchesRegex("SigBlk:\t0+\nSigIgn:\t0+(18)?0+\n"));
}

TEST_F(TaskTest, SaysThatAProgramCannotBeStarted)
{
    const TemporaryFolder folder;
    folder.write("plain", "not a program");

    const auto missing = launch(loop(), task("/there/is/no/tool", {}));
    const auto plain = launch(loop(), task(folder.file("plain"), {}));

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message(), "start /there/is/no/tool: No such file or directory");
    ASSERT_FALSE(plain);
    EXPECT_EQ(plain.error().code(), std::errc::permission_denied);
}

TEST_F(TaskTest, LeavesNothingOfAProgramThatCannotBeStarted)
{
    const auto before = openDescriptors();

    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(launch(loop(), task("/there/is/no/tool", {})));

    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(output(), "");
}

TEST_F(TaskTest, SaysThatThereAreNoDescriptorsLeft)
{
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const auto before = openDescriptors();
    for (rlim_t more = 0; more < 4; ++more) {
        const rlimit tight{.rlim_cur = static_cast<rlim_t>(before) - 1 + more,
                           .rlim_max = usual.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
        const auto launched = launch(loop(), shell("exit 0"));
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);

        ASSERT_FALSE(launched) << more;
        EXPECT_EQ(launched.error().code(), std::errc::too_many_files_open);
    }

    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a program is left";
}

TEST_F(TaskTest, GoesOnReadingWhatAChildOfTheProgramPrintsLater)
{
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.file("go").c_str(), 0600), 0);
    Task background = shell("(read go <" + folder.file("go") + "; echo late) &");
    const auto whenTerminated = background.terminationHandler;
    background.terminationHandler = [&](int status) {
        EXPECT_EQ(output(), "");
        folder.write("go", "on\n");
        whenTerminated(status);
    };

    run(std::move(background));

    EXPECT_EQ(output(), "late\n");
    EXPECT_EQ(status(), 0);
}

TEST_F(TaskTest, WaitsForAProgramThatClosesItsOutputAndGoesOn)
{
    run(shell("exec >&- 2>&-; sleep 0.05; exit 4"));

    EXPECT_EQ(status(), 4);
    EXPECT_EQ(outputPieces(), Words{""});
}

TEST_F(TaskTest, LosesNothingOfLargeOutput)
{
    run(shell("seq 1000000; seq 5 >&2"));

    EXPECT_EQ(output().size(), 6'888'896U);
    EXPECT_TRUE(output().ends_with("\n1000000\n"));
    EXPECT_EQ(error(), "1\n2\n3\n4\n5\n");
}

TEST_F(TaskTest, LeavesNeitherDescriptorNorProcess)
{
    const auto before = openDescriptors();

    run(shell("echo out"));

    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(TaskTest, RunsManyAtOnce)
{
    constexpr int many = 100;
    int ended = 0;
    int sum = 0;
    for (int i = 0; i < many; ++i) {
        Task one = shell("exit " + std::to_string(i));
        one.standardOutput = one.standardError = [](std::string_view) {};
        one.terminationHandler = [&](int status) {
            sum += status;
            if (++ended == many)
                loop().stop();
        };
        ASSERT_TRUE(launch(loop(), std::move(one)));
    }

    EXPECT_TRUE(loop().run());

    EXPECT_EQ(sum, many * (many - 1) / 2);
}

} // namespace
} // namespace veltra
