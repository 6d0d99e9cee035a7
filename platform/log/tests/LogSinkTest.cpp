#include "platform/base/Fd.h"
#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/SleepingThread.h"
#include "platform/log/SystemLog.h"
#include "platform/log/tests/ResidentBytes.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace veltra {
namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";

struct SinkPipe {
    Fd reader;
    Fd writer;

    explicit SinkPipe(int flags = 0)
    {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reader = Fd{ends[0]};
        writer = Fd{ends[1]};
        EXPECT_EQ(::fcntl(writer.get(), F_SETFL, flags), 0);
    }
};

std::string readToTheEnd(const Fd& descriptor)
{
    std::string all;
    std::array<char, 4096> block{};
    ssize_t count = 0;
    while ((count = ::read(descriptor.get(), block.data(), block.size())) > 0)
        all.append(block.data(), static_cast<std::size_t>(count));
    return all;
}

TEST(StreamSink, EndsEveryMessageWithALineBreak)
{
    SinkPipe pipe;
    const auto sink = makeStreamSink(pipe.writer.get());

    sink->write("a");
    sink->write("b\n");
    sink->write("");
    sink->write(std::string_view{"x\0y", 3});
    sink->write("two\nlines");
    sink->flush();
    pipe.writer = Fd{};

    EXPECT_EQ(readToTheEnd(pipe.reader), std::string("a\nb\n\nx\0y\ntwo\nlines\n", 19));
}

// A socket that preserves packet boundaries shows how the writes were split.
TEST(StreamSink, SendsWholeLinesTogetherAsFarAsAPipeTakesThemAtOnce)
{
    std::array<int, 2> ends{-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    const Fd reader{ends[0]};
    const Fd writer{ends[1]};
    const std::string half(PIPE_BUF / 2 - 1, 'h');
    const std::string large(2 * PIPE_BUF, 'l');
    const auto sink = makeStreamSink(writer.get());

    for (const std::string& message : {half, half, std::string{"a"}, std::string{"b"}, large})
        sink->write(message);
    sink->write("c");
    sink->flush();

    std::vector<std::string> packets;
    std::string block(large.size() + 1, '\0');
    for (int i = 0; i < 5; ++i) {
        const ssize_t size = ::recv(reader.get(), block.data(), block.size(), MSG_DONTWAIT);
        packets.push_back(block.substr(0, static_cast<std::size_t>(std::max<ssize_t>(size, 0))));
    }
    EXPECT_EQ(packets,
              (std::vector<std::string>{half + "\n" + half + "\n", "a\nb\n", large, "\n", "c\n"}));
}

TEST(StreamSink, DoesNotCloseItsDescriptor)
{
    SinkPipe pipe;

    makeStreamSink(pipe.writer.get()).reset();

    EXPECT_GE(::fcntl(pipe.writer.get(), F_GETFD), 0);
}

TEST(StreamSink, WritesInFullToADescriptorThatTakesOnlyParts)
{
    SinkPipe pipe{O_NONBLOCK};
    const std::string large(1'000'000, 'x');
    SystemLog log{makeStreamSink(pipe.writer.get())};

    log.write({large});
    log.write({"end"});
    std::string all;
    std::jthread reader{[&] { all = readToTheEnd(pipe.reader); }};
    log.drain();
    pipe.writer = Fd{};
    reader.join();

    EXPECT_EQ(all, large + "\nend\n");
}

TEST(StreamSink, OutlivesItsReader)
{
    SinkPipe pipe;
    pipe.reader = Fd{};

    const int result = runInChild([&] {
        SystemLog log{makeStreamSink(pipe.writer.get())};
        log.write({"a"});
        log.write({"b"});
        log.drain();
        return 0;
    });

    EXPECT_EQ(result, 0);
}

// What comes through a new pipe that takes the place of `descriptor` while a sink that has failed
// there writes `message`.
std::string heardBehind(const Fd& descriptor, LogSink& sink, std::string_view message)
{
    SinkPipe pipe;
    EXPECT_GE(::dup2(pipe.writer.get(), descriptor.get()), 0);
    pipe.writer = Fd{};
    sink.write(message);
    sink.flush();
    EXPECT_GE(::dup2(STDERR_FILENO, descriptor.get()), 0);
    return readToTheEnd(pipe.reader);
}

TEST(StreamSink, StaysDeafWhenNobodyReadsOrItsDescriptorIsClosed)
{
    std::signal(SIGPIPE, SIG_IGN);
    SinkPipe unread;
    unread.reader = Fd{};
    const Fd unwritable{::open("/dev/null", O_RDONLY | O_CLOEXEC)};

    for (const Fd* failing : std::array<const Fd*, 2>{&unread.writer, &unwritable}) {
        const auto sink = makeStreamSink(failing->get());
        sink->write("a");
        sink->flush();

        EXPECT_EQ(heardBehind(*failing, *sink, "b"), "");
    }
}

TEST(StreamSink, GoesOnWhenAFullDiskHasRoomAgain)
{
    const Fd failing{::open("/dev/full", O_WRONLY | O_CLOEXEC)};
    SinkPipe pipe;
    SleepingThread writer{[&failing] {
        const auto sink = makeStreamSink(failing.get());
        sink->write("a");
        sink->flush();
        sink->write("b");
        sink->flush();
    }};
    ASSERT_TRUE(writer.waitUntilAsleep());

    ASSERT_GE(::dup2(pipe.writer.get(), failing.get()), 0);
    writer.join();
    pipe.writer = Fd{};
    ASSERT_GE(::dup2(STDERR_FILENO, failing.get()), 0);

    EXPECT_EQ(readToTheEnd(pipe.reader), "a\nb\n");
}

std::atomic<int> signalCount{0};

bool isAsleep(pid_t thread)
{
    std::ifstream file{"/proc/self/task/" + std::to_string(thread) + "/stat"};
    std::string line;
    std::getline(file, line);
    return line.find(") S ") != std::string::npos;
}

template <typename Condition>
bool waitFor(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes{1};
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

TEST(StreamSink, GoesOnAfterAnInterruptingSignal)
{
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalCount; };
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    SinkPipe pipe;
    const int capacity = ::fcntl(pipe.writer.get(), F_GETPIPE_SZ);
    const std::string filling(static_cast<std::size_t>(capacity), '-');
    ASSERT_EQ(::write(pipe.writer.get(), filling.data(), filling.size()), capacity);
    std::atomic<pid_t> id{0};

    std::thread writer{[&] {
        id = ::gettid();
        const auto sink = makeStreamSink(pipe.writer.get());
        sink->write("message");
        sink->flush();
    }};
    ASSERT_TRUE(waitFor([&] { return id != 0 && isAsleep(id); }));
    ASSERT_EQ(::pthread_kill(writer.native_handle(), SIGUSR1), 0);
    ASSERT_TRUE(waitFor([&] { return signalCount == 1 && isAsleep(id); }));
    std::string all(filling.size(), '\0');
    ASSERT_EQ(::read(pipe.reader.get(), all.data(), all.size()), capacity);
    writer.join();
    pipe.writer = Fd{};

    EXPECT_EQ(readToTheEnd(pipe.reader), "message\n");
}

TEST(JournalSink, IsThereExactlyWhenAJournalRuns)
{
    const bool isThere = makeJournalSink() != nullptr;

    EXPECT_EQ(isThere, std::filesystem::is_socket(journalSocket));
}

/// Replaces the journal. Only in a child process, whose /run it covers.
class StandInJournal {
  public:
    static bool isPossible()
    {
        return runInChild([] { return ::unshare(CLONE_NEWNS) == 0 ? 0 : 1; }) == 0;
    }

    StandInJournal()
    {
        check(::unshare(CLONE_NEWNS), "unshare");
        check(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "mount /");
        check(::mount("tmpfs", "/run", "tmpfs", 0, nullptr), "mount /run");
        std::filesystem::create_directories("/run/systemd/journal");
        socket_ = Fd{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        std::string_view{journalSocket}.copy(address.sun_path, sizeof address.sun_path - 1);
        check(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              "bind");
    }

    std::string receive() const
    {
        pollfd descriptor{.fd = socket_.get(), .events = POLLIN, .revents = 0};
        if (::poll(&descriptor, 1, 30'000) != 1)
            return "nothing came";

        std::string datagram(65536, '\0');
        const ssize_t size = ::recv(socket_.get(), datagram.data(), datagram.size(), 0);
        check(static_cast<int>(size), "recv");
        datagram.resize(static_cast<std::size_t>(size));
        return datagram;
    }

    /// Keeps the socket's name, like a journal that has crashed.
    void die() { socket_ = Fd{}; }

  private:
    static void check(int result, const char* action)
    {
        if (result < 0)
            throw std::system_error{errno, std::generic_category(), action};
    }

    Fd socket_;
};

class WithJournal : public testing::Test {
  protected:
    void SetUp() override
    {
        if (!StandInJournal::isPossible())
            GTEST_SKIP() << "for want of a mount namespace: a stand-in journal is in one";
    }
};

TEST_F(WithJournal, SendsTheMessageAsANoticeOfThisProgram)
{
    const int result = runInChild([] {
        const StandInJournal journal;
        const auto sink = makeJournalSink();
        if (!sink)
            return 1;

        sink->write("plain message");

        EXPECT_EQ(journal.receive(), std::string{"MESSAGE=plain message\nPRIORITY=5\n"
                                                 "SYSLOG_IDENTIFIER="} +
                                         program_invocation_short_name + "\n");
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(WithJournal, SendsAnyBytesInOneMessage)
{
    const int result = runInChild([] {
        const StandInJournal journal;
        const auto sink = makeJournalSink();
        if (!sink)
            return 1;

        sink->write("two\nlines");
        sink->write("");

        const std::string framed{"MESSAGE\n\x09\0\0\0\0\0\0\0two\nlines\nPRIORITY=5\n", 37};
        EXPECT_EQ(journal.receive().substr(0, framed.size()), framed);
        EXPECT_TRUE(journal.receive().starts_with("MESSAGE=\nPRIORITY=5\n"));
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(WithJournal, GivesTheMemoryOfAHugeMessageBack)
{
    const int result = runInChild([] {
        constexpr std::size_t bound = 100'000'000;
        const StandInJournal journal;
        const auto sink = makeJournalSink();
        if (!sink)
            return 1;
        [[maybe_unused]] const std::size_t before = residentBytes();

        sink->write(std::string(2 * bound, 'x'));

        const std::size_t after = residentBytes();
        // A sanitizer keeps what was freed for a while.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        EXPECT_LT(after, before + bound);
#endif
        return after > 0 ? 0 : 1;
    });

    EXPECT_EQ(result, 0);
}

// What is written to standard error while `action` runs.
std::string standardErrorOf(const std::function<void()>& action)
{
    SinkPipe pipe;
    const Fd standardError{::dup(STDERR_FILENO)};
    ::dup2(pipe.writer.get(), STDERR_FILENO);
    pipe.writer = Fd{};
    action();
    ::dup2(standardError.get(), STDERR_FILENO);
    return readToTheEnd(pipe.reader);
}

TEST_F(WithJournal, TurnsToStandardErrorWhenItDies)
{
    const int result = runInChild([] {
        StandInJournal journal;
        const auto sink = makeJournalSink();
        if (!sink)
            return 1;

        journal.die();
        const std::string withoutPeer = standardErrorOf([&] {
            sink->write("no one listens");
            sink->flush();
        });
        std::filesystem::remove(journalSocket);
        const std::string withoutSocket = standardErrorOf([&] {
            sink->write("nothing there");
            sink->flush();
        });

        EXPECT_EQ(withoutPeer, "no one listens\n");
        EXPECT_EQ(withoutSocket, "nothing there\n");
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(WithJournal, TakesWhatIsWrittenToTheSharedLog)
{
    const int result = runInChild([] {
        const StandInJournal journal;

        SystemLog::log({"to ", "the journal"});

        EXPECT_TRUE(journal.receive().starts_with("MESSAGE=to the journal\n"));
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST(SystemLog, SharedGoesToStandardErrorWithoutAJournal)
{
    if (std::filesystem::is_socket(journalSocket))
        GTEST_SKIP() << "for want of a machine without a journal";

    const int result = runInChild([] {
        const std::string text = standardErrorOf([] {
            SystemLog::log({"to ", "standard error"});
            SystemLog::shared().drain();
        });

        EXPECT_EQ(text, "to standard error\n");
        return 0;
    });

    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
