#include "platform/base/WriteAll.h"

#include "platform/base/Fd.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

using namespace veltra;

namespace {

std::string readToEnd(const Fd& file)
{
    std::string text;
    std::array<char, 4096> piece{};
    for (ssize_t count = 0; (count = ::read(file.get(), piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(count));
    return text;
}

TEST(WriteAll, GoesOnAfterSignalsAndShortWrites)
{
    struct sigaction interrupting {};
    interrupting.sa_handler = [](int) {};
    struct sigaction previous {};
    ASSERT_EQ(::sigaction(SIGUSR1, &interrupting, &previous), 0);
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const Fd readEnd{ends[0]};
    Fd writeEnd{ends[1]};
    const std::string text(1'000'000, 'x');
    bool isWritten = false;

    std::thread writer{[&] {
        isWritten = writeAll(writeEnd.get(), text);
        writeEnd = Fd{};
    }};
    for (int i = 0; i < 20; ++i) {
        ::pthread_kill(writer.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
    const std::string written = readToEnd(readEnd);

    writer.join();
    ::sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_TRUE(isWritten);
    EXPECT_EQ(written.size(), text.size());
}

TEST(WriteAll, TellsWhyItFailed)
{
    const Fd full{::open("/dev/full", O_WRONLY | O_CLOEXEC)};

    EXPECT_FALSE(writeAll(full.get(), "text"));

    EXPECT_EQ(errno, ENOSPC);
}

} // namespace
