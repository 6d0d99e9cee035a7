// responsiveness LOG: opens the window on a log and prints for how long its event loop was blocked,
// from the moment when the window was shown until the rows are visible. What the pass logs is
// discarded.

#include "bench/PaintWatch.h"
#include "bench/TurnWatch.h"
#include "bench/WindowOnLog.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fcntl.h>

namespace {

using namespace veltra;
using namespace std::chrono_literals;

constexpr auto tolerable = 50ms;
constexpr std::size_t printedGaps = 5;

double milliseconds(TurnWatch::Duration duration)
{
    return std::chrono::duration<double, std::milli>{duration}.count();
}

void print(int rows, std::vector<TurnWatch::Gap> gaps)
{
    const auto& last = gaps.back();
    std::printf("%d rows in sight %.0f ms after the window was shown\n", rows,
                milliseconds(last.begin + last.length));
    const auto stalls =
        std::ranges::count_if(gaps, [](const auto& gap) { return gap.length > tolerable; });
    std::printf("%zu turns of the event loop, %td stalls over %td ms; the longest:\n", gaps.size(),
                stalls, std::ptrdiff_t{tolerable.count()});
    std::ranges::sort(gaps, std::greater{}, &TurnWatch::Gap::length);
    gaps.resize(std::min(gaps.size(), printedGaps));
    for (const auto& gap : gaps)
        std::printf("%9.1f ms, %7.1f of them waiting for a processor, after %9.1f ms\n",
                    milliseconds(gap.length), milliseconds(gap.queued), milliseconds(gap.begin));
}

void measure(int& argc, char** argv, const std::filesystem::path& path)
{
    const TemporaryFolder folder;
    std::filesystem::create_symlink(std::filesystem::canonical(path),
                                    folder.file("vxsvc_20240305_000000.log"));
    const Fd nowhere{::open("/dev/null", O_WRONLY | O_CLOEXEC)};
    SystemLog log{makeStreamSink(nowhere.get())};
    const SystemLog::Redirection redirection{log};
    PaintWatch application{argc, argv};
    WindowOnLog window{folder.path() + "/"};
    TurnWatch turns;
    application.watchTopRow(window.table(), [&] {
        if (window.rows().rowCount() > 0)
            QApplication::exit();
    });
    QTimer::singleShot(0, [&] {
        window.show();
        turns.start();
    });
    QTimer empty;
    QObject::connect(&empty, &QTimer::timeout, [&] {
        if (!window.isReading() && window.rows().rowCount() == 0)
            QApplication::exit(EXIT_FAILURE);
    });
    empty.start(1s);
    const int status = QApplication::exec();
    turns.stop();
    application.watchNothing();
    MainQueue::close();
    if (status != EXIT_SUCCESS)
        throw std::runtime_error{"the log makes no rows"};
    print(window.rows().rowCount(), turns.gaps());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: responsiveness LOG\n", stderr);
        return 2;
    }
    try {
        measure(argc, argv, argv[1]);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "responsiveness: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
