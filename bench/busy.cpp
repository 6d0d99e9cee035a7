// busy WRITES LINES SECONDS: measures what it costs to follow a busy log, to which another process
// appends LINES lines with each of WRITES writes a second. Prints one line.
//
// What the passes log is discarded, and so is the time until the window stands still at first.

#include "bench/LogGenerator.h"
#include "bench/PaintWatch.h"
#include "bench/WindowOnLog.h"
#include "platform/base/Fd.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <QTimer>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace veltra;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

const std::string logName = "vxsvc_20240305_000000.log";
constexpr auto settling = 3s;

/// What is asked for.
struct Load {
    int writes = 0; // a second
    int lines = 0;  // a write
    int seconds = 0;
};

/// A separate process that writes steadily until it is killed. For one thread, before there are
/// others.
class SteadyWriter {
  public:
    SteadyWriter(const std::string& path, const Load& load) : process_{::fork()}
    {
        if (process_ < 0)
            throw std::system_error{errno, std::generic_category(), "fork"};
        if (process_ == 0)
            write(path, load);
    }
    SteadyWriter(const SteadyWriter&) = delete;
    SteadyWriter& operator=(const SteadyWriter&) = delete;
    ~SteadyWriter()
    {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }

  private:
    [[noreturn]] static void write(const std::string& path, const Load& load)
    {
        const Fd log{::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)};
        LogGenerator generator;
        std::string text;
        for (auto next = Clock::now();; next += std::chrono::nanoseconds{1s} / load.writes) {
            std::this_thread::sleep_until(next);
            text.clear();
            for (int line = 0; line < load.lines; ++line)
                generator.appendLine(text);
            if (::write(log.get(), text.data(), text.size()) < 0)
                ::_exit(1);
        }
    }

    pid_t process_;
};

/// How much of one processor this process, or its main thread, has used.
Seconds processorTime(int who)
{
    rusage usage{};
    ::getrusage(who, &usage);
    const auto seconds = [](const timeval& time) {
        return Seconds{static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6};
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void runFor(Clock::duration time)
{
    // Not quit(), which would close the window.
    QTimer::singleShot(std::chrono::ceil<std::chrono::milliseconds>(time), qApp,
                       [] { QApplication::exit(); });
    QApplication::exec();
}

void measure(int& argc, char** argv, const Load& load)
{
    const TemporaryFolder folder;
    folder.write(logName, "");
    const SteadyWriter writer{folder.file(logName), load};

    const Fd nowhere{::open("/dev/null", O_WRONLY | O_CLOEXEC)};
    SystemLog log{makeStreamSink(nowhere.get())};
    const SystemLog::Redirection redirection{log};
    PaintWatch application{argc, argv};
    WindowOnLog window{folder.path() + "/"};
    window.show();
    runFor(settling);

    int paints = 0;
    application.watchTopRow(window.table(), [&paints] { ++paints; });
    const int rowsBefore = window.rows().rowCount();
    const Seconds before = processorTime(RUSAGE_SELF);
    const Seconds mainBefore = processorTime(RUSAGE_THREAD);
    const auto begin = Clock::now();
    runFor(std::chrono::seconds{load.seconds});
    const Seconds duration = Clock::now() - begin;
    const Seconds used = processorTime(RUSAGE_SELF) - before;
    const Seconds usedByMain = processorTime(RUSAGE_THREAD) - mainBefore;
    application.watchNothing();

    const int rows = window.rows().rowCount() - rowsBefore;
    std::printf("%9d %9d %11.0f %11.1f %11.1f %% %11.1f %%\n", load.writes, load.lines,
                rows / duration.count(), paints / duration.count(), 100 * (used / duration),
                100 * (usedByMain / duration));
    MainQueue::close();
    if (rows == 0)
        throw std::runtime_error{"no row came"};
}

std::optional<int> count(std::string_view text)
{
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end && number > 0 ? std::optional{number} : std::nullopt;
}

} // namespace

int main(int argc, char** argv)
{
    const auto number = [&](int index) { return argc == 4 ? count(argv[index]) : std::nullopt; };
    const auto writes = number(1);
    const auto lines = number(2);
    const auto seconds = number(3);
    if (!writes || !lines || !seconds) {
        std::fputs("usage: busy WRITES LINES SECONDS\n", stderr);
        return 2;
    }
    try {
        measure(argc, argv, {.writes = *writes, .lines = *lines, .seconds = *seconds});
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "busy: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
