// logged FILE journal|stream: runs the table's first pass over a log while every line that it reads
// is logged, to the journal or to standard error. Prints how long it took until the rows were
// visible, and until the log had taken the last line.

#include "logview/rows/LogPass.h"
#include "platform/log/SystemLog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

using namespace veltra;

std::unique_ptr<LogSink> sinkNamed(std::string_view name)
{
    auto sink = name == "journal" ? makeJournalSink() : makeStreamSink(STDERR_FILENO);
    if (!sink)
        throw std::runtime_error{"no journal runs"};
    return sink;
}

void measure(const std::string& file, std::string_view sink)
{
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;

    SystemLog log{sinkNamed(sink)};
    const SystemLog::Redirection redirection{log};
    LogRows rows;

    const auto begun = Clock::now();
    runLogPass(rows, file, 0, ShownLines::all);
    const Seconds inSight = Clock::now() - begun;
    log.drain();
    const Seconds logged = Clock::now() - begun;
    std::printf("%zu rows in sight after %.2f s, the last line logged after %.2f s\n", rows.count(),
                inSight.count(), logged.count());
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view sink = argc == 3 ? argv[2] : "";
    if (sink != "journal" && sink != "stream") {
        std::fputs("usage: logged FILE journal|stream\n", stderr);
        return 2;
    }
    try {
        measure(argv[1], sink);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "logged: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
