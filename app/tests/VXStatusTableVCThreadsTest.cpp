// VXStatusTableVC while passes run on several threads.

#include "app/tests/TableController.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace veltra {
namespace {

class VXStatusTableVCThreadsTest : public TableControllerTest {
  protected:
    std::string linesOf(std::size_t bytes)
    {
        const std::string line = logLine("Info", "one of many");
        std::string lines;
        while (lines.size() < bytes)
            lines += line;
        return lines;
    }

    /// Whether `interrupt` ends its pass over the lines early. On a busy machine, the pass may be
    /// over before it is interrupted, so this may take several attempts.
    template <typename Interrupt>
    bool endsEarly(const Interrupt& interrupt)
    {
        const std::string lines = linesOf(std::size_t{40} << 20);
        const auto count = static_cast<std::size_t>(std::ranges::count(lines, '\n'));
        bool isEarly = false;
        for (int attempt = 0; attempt < 20 && !isEarly; ++attempt) {
            const std::size_t before = log().messages().size();
            interrupt(lines);
            isEarly = log().messages().size() - before < count / 2;
        }
        return isEarly;
    }
};

TEST_F(VXStatusTableVCThreadsTest, ReadsEveryByteOnceInOrderWhenSeveralThreadsAskForPasses)
{
    constexpr int lines = 2000;
    const VXStatusTableVC& controller = start();
    std::atomic<int> running = 3;
    std::atomic<bool> isWritten = false;

    std::thread writer{[&] {
        for (int i = 0; i < lines; ++i)
            folder().append(log1, logLine("Info", std::to_string(i)));
        isWritten = true;
        --running;
        MainQueue::post([] {});
    }};
    std::vector<std::thread> readers(2);
    for (std::thread& reader : readers)
        reader = std::thread{[&] {
            bool isLast = false;
            while (!isLast) {
                isLast = isWritten;
                notify();
            }
            --running;
            MainQueue::post([] {});
        }};
    EXPECT_TRUE(runLoopUntil([&] { return running == 0; }));
    writer.join();
    for (std::thread& reader : readers)
        reader.join();
    turn();

    // A line may be read in two halves if a pass runs while it is being written.
    std::string read;
    for (const std::string& message : log().messages())
        if (message.starts_with("read line: "))
            read += message.substr(std::string_view{"read line: "}.size());
    std::string written;
    for (int i = 0; i < lines; ++i)
        written += logLine("Info", std::to_string(i));
    EXPECT_TRUE(read == written);
    EXPECT_EQ(controller.offset(), std::filesystem::file_size(folder().file(log1)));
    EXPECT_LT(controller.numberOfRowsInTableView(nullptr), lines);
}

TEST_F(VXStatusTableVCThreadsTest, ShowsTheRowsOfEveryPassAboveThoseOfThePassBefore)
{
    start();
    constexpr int passes = 50;

    const bool hasEnded = runOnWorker([this] {
        for (int i = 0; i < passes; ++i) {
            folder().append(log1, logLine("Info", "first") + logLine("Info", std::to_string(i)));
            notify();
        }
    });
    turn();

    ASSERT_TRUE(hasEnded);
    const Lines rows = table();
    ASSERT_EQ(rows.size(), std::size_t{passes});
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i], logRow("Info", std::to_string(passes - 1 - static_cast<int>(i))));
}

TEST_F(VXStatusTableVCThreadsTest, LetsTheMainThreadReadTheTableDuringPasses)
{
    const VXStatusTableVC& controller = start();
    std::atomic<bool> isDone = false;
    std::thread worker{[&] {
        for (int i = 0; i < 300; ++i) {
            folder().append(log1, logLine("Info", "first") + logLine("Info", std::to_string(i)));
            notify();
        }
        isDone = true;
        MainQueue::post([] {});
    }};

    const bool hasEnded = runLoopUntil([&] {
        const int rows = controller.numberOfRowsInTableView(nullptr);
        for (int row = 0; row < std::min(rows, 5); ++row)
            EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("message"), row),
                      QVariant{QString::number(rows - 1 - row)});
        return isDone.load();
    });
    worker.join();

    EXPECT_TRUE(hasEnded);
}

TEST_F(VXStatusTableVCThreadsTest, ShowsActivityDuringAPassAndNoneAfterwards)
{
    folder().write(log1, std::string(std::size_t{1} << 20, 'x') + "\n");
    VXStatusTableVC& controller = start();
    std::atomic<bool> hasShown = false;

    // A pass may be over before the main thread has looked, so there are several.
    std::thread worker{[&] {
        for (int i = 0; i < 200 && !hasShown; ++i) {
            controller.setLastfilepath(QString::number(i));
            notify();
        }
        MainQueue::post([] {});
    }};
    const bool wasSeen = runLoopUntil([&] {
        hasShown = hasShown || indicator().isAnimating();
        return hasShown.load();
    });
    worker.join();
    turn();

    EXPECT_TRUE(wasSeen);
    EXPECT_FALSE(indicator().isAnimating());
}

TEST_F(VXStatusTableVCThreadsTest, EndsItsFirstPassEarlyWhenDestroyed)
{
    EXPECT_TRUE(endsEarly([this](const std::string& lines) {
        folder().write(log1, lines);
        make();
        destroyController();
    }));
}

TEST_F(VXStatusTableVCThreadsTest, EndsAPassOnAnotherThreadEarlyWhenDestroyed)
{
    EXPECT_TRUE(endsEarly([this](const std::string& lines) {
        folder().write(log1, {});
        start();
        folder().write(log1, lines);
        std::atomic<bool> isPosting = false;
        std::thread worker{[&] {
            isPosting = true;
            notify();
        }};
        while (!isPosting)
            std::this_thread::yield();
        destroyController();
        worker.join();
        turn();
    }));
}

} // namespace
} // namespace veltra
