// latency ROWS APPENDS: measures the time from another process's write(2) to the log until the new
// row is painted, in a window whose table already has ROWS rows. Prints one line.
//
// Each write appends two lines, because the first line that a pass reads is never shown. What the
// passes log is discarded.

#include "bench/Appender.h"
#include "bench/LogGenerator.h"
#include "bench/PaintWatch.h"
#include "bench/WindowOnLog.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <QTimer>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <fcntl.h>

namespace {

using namespace veltra;
using namespace std::chrono_literals;

using Milliseconds = std::chrono::duration<double, std::milli>;

const std::string logName = "vxsvc_20240305_000000.log";

/// Writes a log that results in `rows` rows.
void writeLog(const std::string& path, std::size_t rows)
{
    std::ofstream log{path, std::ios::binary};
    LogGenerator generator;
    std::string line;
    for (std::size_t written = 0; written < rows + 1;) {
        line.clear();
        generator.appendLine(line);
        if (line.find(".Info: ") == std::string::npos || line.find(".Error: ") != std::string::npos)
            continue;
        log << line;
        ++written;
    }
    if (!log.flush())
        throw std::runtime_error{"cannot write " + path};
}

/// Runs the event loop until all rows are there and all work for them is done.
void waitForRows(WindowOnLog& window, std::size_t rows)
{
    while (window.isReading())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (static_cast<std::size_t>(window.rows().rowCount()) != rows)
        throw std::runtime_error{"the log made " + std::to_string(window.rows().rowCount()) +
                                 " rows"};
    // Not quit(), which would close the window.
    QTimer::singleShot(2s, qApp, [] { QApplication::exit(); });
    QApplication::exec();
}

/// Appends to the log repeatedly, and measures the times.
class Measurement {
  public:
    Measurement(Appender& appender, WindowOnLog& window, std::size_t appends)
        : appender_{appender}, window_{window}, appends_{appends}
    {
        patience_.setSingleShot(true);
        patience_.setInterval(10s);
        QObject::connect(&patience_, &QTimer::timeout, [this] {
            ++lost_;
            appendNext();
        });
    }

    void run(PaintWatch& application)
    {
        application.watchTopRow(window_.table(), [this] { topRowWasPainted(); });
        QTimer::singleShot(0, qApp, [this] { appendNext(); });
        QApplication::exec();
        application.watchNothing();
    }

    /// The times since the return of write(2).
    [[nodiscard]] const std::vector<Milliseconds>& times() const { return times_; }
    [[nodiscard]] Milliseconds longestWrite() const { return longestWrite_; }
    /// How many rows were not painted within ten seconds.
    [[nodiscard]] std::size_t lost() const { return lost_; }

  private:
    void appendNext()
    {
        if (times_.size() + lost_ == appends_) {
            QApplication::exit();
            return;
        }
        awaited_ = "row " + std::to_string(++number_) + " of this run";
        std::string lines;
        for (const std::string& text : {std::string{"a line that is not shown"}, awaited_})
            format_.append(lines, std::chrono::system_clock::now(),
                           {.component = "vxsvc", .severity = "Info", .thread = 1, .text = text});
        appender_.append(lines);
        patience_.start();
    }

    void topRowWasPainted()
    {
        const auto now = std::chrono::steady_clock::now();
        if (window_.rows().rowCount() == 0 || !isAwaited(window_.rows().texts(0)))
            return;
        awaited_.clear();
        const auto [begun, returned] = appender_.lastWrite();
        times_.emplace_back(now - returned);
        longestWrite_ = std::max(longestWrite_, Milliseconds{returned - begun});
        appendNext();
    }

    [[nodiscard]] bool isAwaited(const LogLineTexts& row) const
    {
        return !awaited_.empty() && row[LogField::message].find(awaited_) != std::string_view::npos;
    }

    Appender& appender_;
    WindowOnLog& window_;
    std::size_t appends_;
    AgentLineFormat format_{AgentLineFormat::Zone::Utc, 1234};
    QTimer patience_;
    std::size_t number_ = 0;
    std::string awaited_;
    std::vector<Milliseconds> times_;
    Milliseconds longestWrite_{};
    std::size_t lost_ = 0;
};

Milliseconds percentile(const std::vector<Milliseconds>& sorted, double percent)
{
    const auto rank =
        static_cast<std::size_t>(std::ceil(percent / 100 * static_cast<double>(sorted.size())));
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

void print(std::size_t rows, const Measurement& measurement)
{
    auto times = measurement.times();
    std::ranges::sort(times);
    if (!times.empty())
        std::printf("%9zu %9zu %11.2f ms %11.2f ms %11.2f ms %11.2f ms %6zu\n", rows, times.size(),
                    percentile(times, 50).count(), percentile(times, 99).count(),
                    times.back().count(), measurement.longestWrite().count(), measurement.lost());
}

std::optional<std::size_t> count(std::string_view text)
{
    std::size_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && stop == end ? std::optional{number} : std::nullopt;
}

void measure(int& argc, char** argv, std::size_t rows, std::size_t appends)
{
    const TemporaryFolder folder;
    writeLog(folder.file(logName), rows);
    Appender appender{folder.file(logName)};

    const Fd nowhere{::open("/dev/null", O_WRONLY | O_CLOEXEC)};
    SystemLog log{makeStreamSink(nowhere.get())};
    const SystemLog::Redirection redirection{log};
    PaintWatch application{argc, argv};
    WindowOnLog window{folder.path() + "/"};
    window.show();
    waitForRows(window, rows);
    log.drain();

    Measurement measurement{appender, window, appends};
    measurement.run(application);
    print(rows, measurement);
    MainQueue::close();
    if (measurement.lost() > 0)
        throw std::runtime_error{std::to_string(measurement.lost()) + " rows were never painted"};
}

} // namespace

int main(int argc, char** argv)
{
    const auto rows = argc == 3 ? count(argv[1]) : std::nullopt;
    const auto appends = argc == 3 ? count(argv[2]) : std::nullopt;
    if (!rows || !appends) {
        std::fputs("usage: latency ROWS APPENDS\n", stderr);
        return 2;
    }
    try {
        measure(argc, argv, *rows, *appends);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "latency: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
