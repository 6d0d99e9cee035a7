// pieces: measures, one by one, the parts of a line's path from the agent's file to the table.
// Takes the log to measure with on its standard input, and Google Benchmark's options.

#include "logview/rows/FileReader.h"
#include "logview/rows/LogLineScanner.h"
#include "logview/rows/LogPass.h"
#include "logview/table/LogTableModel.h"
#include "logview/table/LogTableView.h"
#include "platform/base/Utf8.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"
#include "watch/VXStatusQueueCentral.h"

#include <QApplication>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using namespace veltra;

/// A log as a file and as its lines, including their line feeds.
class SampleLog {
  public:
    explicit SampleLog(std::string text) : text_{std::move(text)}
    {
        folder_.write("vxsvc_1.log", text_);
        for (std::string_view rest = text_; !rest.empty(); rest.remove_prefix(lines_.back().size()))
            lines_.push_back(rest.substr(0, rest.find('\n') + 1));
    }

    [[nodiscard]] const std::string& text() const { return text_; }
    [[nodiscard]] const std::vector<std::string_view>& lines() const { return lines_; }
    [[nodiscard]] std::string path() const { return folder_.file("vxsvc_1.log"); }

    /// Every iteration of the loop has processed the whole log.
    void countIn(benchmark::State& state) const
    {
        const auto rounds = static_cast<std::int64_t>(state.iterations());
        state.SetItemsProcessed(rounds * static_cast<std::int64_t>(lines_.size()));
        state.SetBytesProcessed(rounds * static_cast<std::int64_t>(text_.size()));
    }

  private:
    std::string text_;
    std::vector<std::string_view> lines_;
    TemporaryFolder folder_;
};

void readLines(benchmark::State& state, const SampleLog& log)
{
    while (state.KeepRunning()) {
        const auto reader = FileReader::initWithFilePath(log.path());
        std::size_t count = 0;
        while (reader->readLine())
            ++count;
        if (count != log.lines().size())
            return state.SkipWithError("the reader missed lines");
    }
    log.countIn(state);
}

void scanLines(benchmark::State& state, const SampleLog& log)
{
    while (state.KeepRunning())
        for (const std::string_view line : log.lines())
            benchmark::DoNotOptimize(scanLogLine(line));
    log.countIn(state);
}

void validateLines(benchmark::State& state, const SampleLog& log)
{
    while (state.KeepRunning())
        for (const std::string_view line : log.lines())
            if (validUtf8Prefix(line) != line.size())
                return state.SkipWithError("the log is not UTF-8");
    log.countIn(state);
}

// The time for writing the log's lines to the sink is included.
void passOver(benchmark::State& state, const SampleLog& log, SystemLog& systemLog)
{
    const SystemLog::Redirection redirection{systemLog};
    while (state.KeepRunning()) {
        LogRows rows;
        if (runLogPass(rows, log.path(), 0, ShownLines::all) != log.text().size())
            return state.SkipWithError("the pass stopped before the end");
        systemLog.drain();
    }
    log.countIn(state);
}

void passUnlogged(benchmark::State& state, const SampleLog& log)
{
    SystemLog nowhere{nullptr};
    passOver(state, log, nowhere);
}

void passLogged(benchmark::State& state, const SampleLog& log)
{
    const Fd stream{::open("/dev/null", O_WRONLY | O_CLOEXEC)};
    SystemLog toStream{makeStreamSink(stream.get())};
    passOver(state, log, toStream);
}

class DeafSink : public LogSink {
  public:
    void write(std::string_view /*message*/) override {}
};

void logMessages(benchmark::State& state, const SampleLog& log)
{
    SystemLog systemLog{std::make_unique<DeafSink>()};
    while (state.KeepRunning()) {
        for (const std::string_view line : log.lines())
            systemLog.write({"read line: ", line});
        systemLog.drain();
    }
    log.countIn(state);
}

void writeByte(const Fd& file)
{
    if (::write(file.get(), "x", 1) != 1)
        throw std::runtime_error{"cannot write to a watched file"};
}

/// A file in its own folder, open for appending, and its watch.
struct WatchedFile {
    explicit WatchedFile(KernelQueue& queue)
        : watch{queue.watch(file.get(), VXStatusQueueCentral::allNotes, name)}
    {
        if (!watch)
            throw std::runtime_error{watch.error().message()};
    }

    TemporaryFolder folder;
    std::shared_ptr<void> name = std::make_shared<int>();
    Fd file{::open(folder.file("log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)};
    Result<KernelQueue::Registration> watch;
};

bool hasRecords(const KernelQueue& queue, int wanted)
{
    constexpr int recordSize = 16;
    int bytes = 0;
    return ::ioctl(queue.descriptor(), FIONREAD, &bytes) == 0 && bytes / recordSize == wanted;
}

// The kernel merges adjacent equal records, so the writes alternate between two files.
void drainKernelQueue(benchmark::State& state)
{
    constexpr int turns = 2000;
    const auto queue = std::move(KernelQueue::open().value());
    const std::array files{std::make_unique<WatchedFile>(*queue),
                           std::make_unique<WatchedFile>(*queue)};
    while (state.KeepRunning()) {
        state.PauseTiming();
        for (int turn = 0; turn < turns; ++turn)
            for (const auto& each : files)
                writeByte(each->file);
        if (!hasRecords(*queue, 2 * turns))
            return state.SkipWithError("the kernel holds another number of events");
        state.ResumeTiming();
        for (std::size_t i = 0; i < files.size(); ++i)
            benchmark::DoNotOptimize(queue->wait());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * 2 * turns);
}

/// A watcher of a folder with one log, assembled as in the program, that counts how often it
/// announces the log's growth.
class CountingWatcher : public LogPathReceiver {
  public:
    CountingWatcher()
    {
        folder_.write("vxsvc_1.log", "");
        file_ = Fd{::open(path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)};
        central_->addPath(QString::fromStdString(path()));
    }

    /// Lets the log grow and waits until the watcher has announced that it was written to and then
    /// that it grew.
    void growAndWait()
    {
        const int wanted = announced_ + 2;
        writeByte(file_);
        while (announced_ < wanted)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    void addpath(const QString& /*path*/) override {}

  private:
    [[nodiscard]] std::string path() const { return folder_.file("vxsvc_1.log"); }

    void count()
    {
        ++announced_;
        MainQueue::post([] {});
    }

    TemporaryFolder folder_;
    Fd file_;
    AgentInstallation installation_{.logFolder = folder_.path() + "/"};
    VXStatusResourceController resources_{installation_, nullptr};
    NotificationCenter notifications_;
    std::atomic<int> announced_ = 0;
    NotificationCenter::Registration announcement_ = notifications_.addObserver(
        QStringLiteral("VXStatusNotification"), nullptr, [this](const Notification&) { count(); });
    std::unique_ptr<VXStatusQueueCentral> central_ =
        VXStatusQueueCentral::init({.notifications = notifications_,
                                    .workspace = Workspace::sharedWorkspace(),
                                    .resources = resources_,
                                    .pathReceiver = [this]() -> LogPathReceiver& { return *this; },
                                    .installation = installation_});
};

void announceGrowth(benchmark::State& state)
{
    CountingWatcher watcher;
    while (state.KeepRunning())
        watcher.growAndWait();
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

// Adds as many rows as the benchmark's argument says.
void fill(LogRows& rows, const benchmark::State& state, const SampleLog& log)
{
    for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i)
        rows.append(scanLogLine(log.lines()[i % log.lines().size()]).texts);
    rows.publish();
}

void insertRows(benchmark::State& state, const SampleLog& log,
                const std::function<void()>& afterwards, LogRows& rows, LogTableModel& model)
{
    const LogLineTexts texts = scanLogLine(log.lines().front()).texts;
    while (state.KeepRunning()) {
        rows.append(texts);
        rows.publish();
        model.adoptPublishedRows();
        afterwards();
    }
    if (model.rowCount() != state.range(0) + static_cast<std::int64_t>(state.iterations()))
        return state.SkipWithError("the model has another number of rows");
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void insertIntoModel(benchmark::State& state, const SampleLog& log)
{
    LogRows rows;
    fill(rows, state, log);
    LogTableModel model{rows};
    model.adoptPublishedRows();
    insertRows(
        state, log, [] {}, rows, model);
}

void insertIntoTable(benchmark::State& state, const SampleLog& log)
{
    LogRows rows;
    fill(rows, state, log);
    LogTableModel model{rows};
    model.adoptPublishedRows();
    LogTableView table;
    table.setModel(&model);
    table.layOutColumns();
    table.resize(1000, 600);
    table.show();
    QCoreApplication::processEvents();
    insertRows(
        state, log, [&] { table.viewport()->repaint(); }, rows, model);
}

void measureReading(const SampleLog& log)
{
    const auto add = [&](const char* name, void (*piece)(benchmark::State&, const SampleLog&)) {
        return benchmark::RegisterBenchmark(name, piece, std::cref(log))
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    };
    add("reader", readLines);
    add("scanner", scanLines);
    add("utf8", validateLines);
    add("pass", passUnlogged);
    add("pass_logged", passLogged);
    add("log_message", logMessages);
}

void measureWatching()
{
    for (auto* piece : {benchmark::RegisterBenchmark("kernel_queue", drainKernelQueue),
                        benchmark::RegisterBenchmark("watcher", announceGrowth)})
        piece->Unit(benchmark::kMicrosecond)->UseRealTime();
}

// The measured insertions must not add much to the initial number of rows.
void measureShowing(const SampleLog& log)
{
    for (auto* piece :
         {benchmark::RegisterBenchmark("model_insert", insertIntoModel, std::cref(log)),
          benchmark::RegisterBenchmark("table_insert", insertIntoTable, std::cref(log))})
        piece->Arg(0)
            ->Arg(1'000'000)
            ->Iterations(500)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime();
}

std::string standardInput()
{
    std::ostringstream text;
    text << std::cin.rdbuf();
    return std::move(text).str();
}

int run()
{
    const SampleLog log{standardInput()};
    if (!log.text().ends_with('\n')) {
        std::fputs("usage: pieces [OPTION]... <LOG, which must end with a line feed\n", stderr);
        return 2;
    }
    measureReading(log);
    measureWatching();
    measureShowing(log);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            return 2;
        const QApplication application{argc, argv};
        return run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pieces: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
