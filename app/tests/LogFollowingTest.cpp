// The whole path from the agent's file to the table: a real kernel queue, a real log folder, the
// watcher and the table controller on top of it.

#include "app/VXStatusTableVC.h"
#include "channel/client/tests/HelperTesting.h"
#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"
#include "watch/tests/WatcherTesting.h"

#include <atomic>
#include <fstream>
#include <optional>
#include <sstream>

#include <sys/ioctl.h>

namespace veltra {
namespace {

const std::string passBorder = "a pass begins";

std::string lineOf(const std::string& message)
{
    return "2024-03-05 10:22:33.456 (1234.5678) vxsvc.Info: " + message + "\n";
}

/// The watched log folder and a table on top, assembled as in the program. What the passes read is
/// taken from the lines that they log.
class FollowedLog {
  public:
    explicit FollowedLog(const std::string& content)
    {
        logs_.write("vxsvc_0.log", content);
        elsewhere_.write("fence", "");
        beforePass_ = notifications_.addObserver(
            logNotification, nullptr, [](const Notification&) { SystemLog::log(passBorder); });
        table_ = std::make_unique<VXStatusTableVC>(VXStatusTableDependencies{
            .notifications = notifications_,
            .resources = resources_,
            .mainBundle = nullptr,
            .initalFilePath = [this] { return path_; },
            .helperController = [this] { return helper_.makeController(); },
            .helperTool = path_,
            .endProcess = {}});
        waitForFirstPass(content.size());
        fenceSeen_ = workspace_.notificationCenter().addObserver(
            VXStatusFileWatcherDeleteNotification, nullptr,
            [this](const Notification&) { isFenceSeen_ = true; });
        watcher_ = VXStatusQueueCentral::init(
            {.notifications = notifications_,
             .workspace = workspace_,
             .resources = resources_,
             .pathReceiver = [this]() -> LogPathReceiver& { return receiver_; },
             .installation = installation_});
        watcher_->addPath(path_);
        watcher_->addPath(QString::fromStdString(logs_.path() + "/"));
    }
    ~FollowedLog()
    {
        watcher_.reset();
        table_.reset();
    }
    FollowedLog(const FollowedLog&) = delete;
    FollowedLog& operator=(const FollowedLog&) = delete;

    [[nodiscard]] const TemporaryFolder& logs() const { return logs_; }
    [[nodiscard]] NotificationCenter& notifications() { return notifications_; }
    [[nodiscard]] VXStatusQueueCentral& watcher() { return *watcher_; }
    void append(const std::string& bytes) const { logs_.append("vxsvc_0.log", bytes); }

    [[nodiscard]] std::string content() const
    {
        std::ifstream file{logs_.file("vxsvc_0.log"), std::ios::binary};
        std::ostringstream bytes;
        bytes << file.rdbuf();
        return bytes.str();
    }

    /// Every byte that the passes have read so far, in the order of reading.
    [[nodiscard]] std::size_t bytesRead() const { return bytesRead_; }
    [[nodiscard]] std::string everythingRead()
    {
        std::string bytes;
        for (const auto& pass : passes())
            for (const std::string& line : pass)
                bytes += line;
        return bytes;
    }

    /// The lines of each pass.
    [[nodiscard]] std::vector<std::vector<std::string>> passes()
    {
        systemLog_.drain();
        std::vector<std::vector<std::string>> passes(1);
        const std::lock_guard lock{mutex_};
        for (const std::string& message : messages_) {
            if (message == passBorder)
                passes.emplace_back();
            else if (message.starts_with(readLine))
                passes.back().push_back(message.substr(readLine.size()));
        }
        return passes;
    }

    /// Waits until that many bytes were read and the watcher has nothing left to do.
    [[nodiscard]] bool waitUntilRead(std::size_t bytes)
    {
        return runLoopLongUntil([&] { return bytesRead_ >= bytes; }) && settle();
    }

    /// Finally another file changes, so its event comes after all others.
    [[nodiscard]] bool settle()
    {
        isFenceSeen_ = false;
        const QString fence = QString::fromStdString(elsewhere_.file("fence"));
        elsewhere_.write("fence", "");
        watcher_->addPath(fence, NOTE_DELETE);
        std::filesystem::remove(elsewhere_.file("fence"));
        const bool isSeen = runLoopLongUntil([this] { return isFenceSeen_.load(); });
        watcher_->removePath(fence);
        systemLog_.drain();
        QCoreApplication::processEvents();
        return isSeen;
    }

    /// The messages of the table's rows from the top.
    [[nodiscard]] std::vector<std::string> rows()
    {
        table_->list().adoptPublishedRows();
        std::vector<std::string> messages;
        const int count = table_->numberOfRowsInTableView(nullptr);
        for (int row = 0; row < count; ++row)
            messages.push_back(table_->tableView(nullptr, QStringLiteral("message"), row)
                                   .toString()
                                   .toStdString());
        return messages;
    }

    /// The rows expected after the passes so far: each pass's lines except its first, in file
    /// order, above those of earlier passes. Only for lines made by lineOf().
    [[nodiscard]] std::vector<std::string> rowsOfThePasses()
    {
        std::vector<std::string> expected;
        const auto all = passes();
        for (auto pass = all.rbegin(); pass != all.rend(); ++pass)
            for (std::size_t line = 1; line < pass->size(); ++line)
                if (const auto message = messageOf((*pass)[line]))
                    expected.push_back(*message);
        return expected;
    }

  private:
    static constexpr std::string_view readLine = "read line: ";

    /// The shown message of a line made by lineOf(). A pass may run when only a part of the line
    /// has reached the file. A part without the mark or without a message is not shown, and the
    /// rest is the first line of the next pass.
    static std::optional<std::string> messageOf(const std::string& line)
    {
        static const std::string mark = "Info:";
        const std::size_t found = line.find(mark);
        if (found == std::string::npos)
            return std::nullopt;
        const std::size_t start = line.find_first_not_of(" \n", found + mark.size());
        if (start == std::string::npos)
            return std::nullopt;
        return line.substr(start, line.find('\n', start) - start);
    }

    void waitForFirstPass(std::size_t bytes)
    {
        ASSERT_TRUE(runLoopLongUntil([&] { return bytesRead_ >= bytes; }));
        ASSERT_EQ(table_->offset(), bytes); // asked for with the pass's lock, so it has ended
    }

    void take(std::string_view message)
    {
        const std::lock_guard lock{mutex_};
        messages_.emplace_back(message);
        if (message.starts_with(readLine))
            bytesRead_ += message.size() - readLine.size();
        MainQueue::post([] {});
    }

    class NoReceiver : public LogPathReceiver {
      public:
        void addpath(const QString& /*path*/) override {}
    };

    std::mutex mutex_;
    std::vector<std::string> messages_;
    std::atomic<std::size_t> bytesRead_ = 0;
    SystemLog systemLog_{Recording::sink(
        std::make_shared<Recording>([this](std::string_view message) { take(message); }))};
    SystemLog::Redirection redirection_{systemLog_};

    TemporaryFolder logs_;
    TemporaryFolder elsewhere_;
    const AgentInstallation installation_{.logFolder = logs_.path() + "/"};
    const VXStatusResourceController resources_{installation_, nullptr};
    const QString path_ = QString::fromStdString(logs_.file("vxsvc_0.log"));
    NotificationCenter notifications_;
    FakeWorkspace workspace_;
    NoReceiver receiver_;
    std::atomic<bool> isFenceSeen_ = false;
    NotificationCenter::Registration fenceSeen_;
    NotificationCenter::Registration beforePass_; // registered before the table, so called before
    FakeHelperDependencies helper_{"/nowhere/at/all"};
    std::unique_ptr<VXStatusTableVC> table_;
    std::unique_ptr<VXStatusQueueCentral> watcher_;
};

/// Holds whenever everything is quiet: nothing was lost, read twice or read out of order, and the
/// rows are those of the passes.
void expectEverythingWasRead(FollowedLog& log)
{
    const std::string content = log.content();
    const std::string read = log.everythingRead();
    EXPECT_EQ(read.size(), content.size());
    EXPECT_TRUE(read == content);
    EXPECT_EQ(log.rows(), log.rowsOfThePasses());
}

TEST(LogFollowing, AppendedLinesBecomeRowsAboveTheEarlierOnes)
{
    FollowedLog log{lineOf("first") + lineOf("second") + lineOf("third")};

    log.append(lineOf("A") + lineOf("B") + lineOf("C"));
    ASSERT_TRUE(log.waitUntilRead(log.content().size()));

    EXPECT_EQ(log.rows(), (std::vector<std::string>{"B", "C", "second", "third"}));
    expectEverythingWasRead(log);
}

TEST(LogFollowing, ALineThatComesAloneIsReadButNotShown)
{
    FollowedLog log{lineOf("first") + lineOf("second")};

    log.append(lineOf("alone"));
    ASSERT_TRUE(log.waitUntilRead(log.content().size()));

    EXPECT_EQ(log.rows(), std::vector<std::string>{"second"});
    expectEverythingWasRead(log);
}

TEST(LogFollowing, NewLogsOfFiftyRotationsLeaveTheStartUpLogTheOneThatIsRead)
{
    FollowedLog log{lineOf("first")};
    std::mutex mutex;
    QString announced;
    const auto registration = log.notifications().addObserver(
        logNotification, nullptr, [&](const Notification& notification) {
            const std::lock_guard lock{mutex};
            announced =
                notification.object.toMap().value(QStringLiteral("newLogFilePath")).toString();
            MainQueue::post([] {});
        });

    const auto now = std::filesystem::file_time_type::clock::now();
    for (int rotation = 1; rotation <= 50; ++rotation) {
        const auto name = log.logs().file("vxsvc_" + std::to_string(rotation) + ".log");
        log.logs().write("passing", lineOf("elsewhere") + lineOf("elsewhere"));
        std::filesystem::last_write_time(log.logs().file("passing"),
                                         now + std::chrono::hours{rotation});
        std::filesystem::rename(log.logs().file("passing"), name);
        ASSERT_TRUE(runLoopLongUntil([&] {
            const std::lock_guard lock{mutex};
            return announced == QString::fromStdString(name);
        })) << name;

        const auto number = std::to_string(rotation);
        log.append(lineOf(number + "a") + lineOf(number + "b"));
        ASSERT_TRUE(runLoopLongUntil([&] { return log.bytesRead() >= log.content().size(); }));
    }
    ASSERT_TRUE(log.settle());

    const auto rows = log.rows();
    ASSERT_EQ(rows.size(), 50U);
    EXPECT_EQ(rows.front(), "50b");
    EXPECT_EQ(rows.back(), "1b");
    expectEverythingWasRead(log);
}

TEST(LogFollowing, ABurstOfTenThousandAppendsLosesNoLine)
{
    FollowedLog log{lineOf("first")};
    std::jthread agent{[&] {
        std::ofstream file{log.logs().file("vxsvc_0.log"), std::ios::binary | std::ios::app};
        for (int line = 0; line < 10'000; ++line)
            file << lineOf(std::to_string(line)) << std::flush;
    }};
    const std::size_t bytes = [] {
        std::size_t sum = lineOf("first").size();
        for (int line = 0; line < 10'000; ++line)
            sum += lineOf(std::to_string(line)).size();
        return sum;
    }();

    ASSERT_TRUE(log.waitUntilRead(bytes));
    agent.join();

    EXPECT_EQ(log.content().size(), bytes);
    expectEverythingWasRead(log);
}

/// How many records the kernel holds for an inotify descriptor whose records have no names.
std::size_t waitingRecords(int descriptor)
{
    constexpr std::size_t recordSize = 16;
    int bytes = 0;
    return ::ioctl(descriptor, FIONREAD, &bytes) == 0 ? static_cast<std::size_t>(bytes) / recordSize
                                                      : 0;
}

std::size_t mostWaitingRecords()
{
    std::size_t limit = 0;
    std::ifstream{"/proc/sys/fs/inotify/max_queued_events"} >> limit;
    return limit;
}

TEST(LogFollowing, AnOverflowOfTheKernelsQueueLosesNoLine)
{
    FollowedLog log{lineOf("first")};
    log.logs().write("other", "");
    log.watcher().addPath(QString::fromStdString(log.logs().file("other")));
    ASSERT_TRUE(log.settle());
    Gate isHeld;
    Gate mayGoOn;
    const auto registration =
        log.notifications().addObserver(logNotification, nullptr, [&](const Notification&) {
            isHeld.open();
            EXPECT_TRUE(mayGoOn.waitUntilOpen());
        });

    // The watcher is blocked in an observer. Only adjacent equal records are merged, so alternating
    // between two files fills the queue.
    std::ofstream file{log.logs().file("vxsvc_0.log"), std::ios::binary | std::ios::app};
    std::ofstream other{log.logs().file("other"), std::ios::binary | std::ios::app};
    std::atomic<bool> isWaitedFor = true;
    std::jthread agent{[&] {
        file << lineOf("begin") << std::flush;
        EXPECT_TRUE(isHeld.waitUntilOpen());
        for (std::size_t line = 0; line <= mostWaitingRecords() / 2; ++line) {
            file << lineOf(std::to_string(line)) << std::flush;
            other << 'x' << std::flush;
        }
        EXPECT_GE(waitingRecords(log.watcher().queueFD()), mostWaitingRecords());
        // There are no records for these any more.
        file << lineOf("end A") << lineOf("end B") << std::flush;
        mayGoOn.open();
        isWaitedFor = false;
        MainQueue::post([] {});
    }};
    ASSERT_TRUE(runLoopLongUntil([&] { return !isWaitedFor; }));
    agent.join();
    ASSERT_TRUE(log.waitUntilRead(log.content().size()));

    EXPECT_TRUE(log.everythingRead().ends_with(lineOf("end B")));
    expectEverythingWasRead(log);
}

TEST(LogFollowing, AfterATruncationReadingGoesOnWhereItHadStopped)
{
    FollowedLog log{lineOf("1st") + lineOf("2nd") + lineOf("3rd")};
    const std::string before = log.content();

    std::filesystem::resize_file(log.logs().file("vxsvc_0.log"), 0);
    log.append(lineOf("new"));
    ASSERT_TRUE(log.settle());
    const std::size_t readWhileShort = log.bytesRead();
    for (int line = 0; line < 10; ++line)
        log.append(lineOf("x" + std::to_string(line) + "y"));
    ASSERT_TRUE(log.waitUntilRead(log.content().size()));

    EXPECT_EQ(readWhileShort, before.size());
    EXPECT_EQ(log.everythingRead(), before + log.content().substr(before.size()));
}

TEST(LogFollowing, ALogThatIsRemovedAndMadeAgainIsFollowedThroughItsFolder)
{
    FollowedLog log{lineOf("1st") + lineOf("2nd")};
    const std::string before = log.content();

    std::filesystem::remove(log.logs().file("vxsvc_0.log"));
    ASSERT_TRUE(log.settle());
    log.logs().write("passing", before + lineOf("A") + lineOf("B"));
    std::filesystem::rename(log.logs().file("passing"), log.logs().file("vxsvc_0.log"));
    ASSERT_TRUE(log.waitUntilRead(log.content().size()));

    EXPECT_EQ(log.rows(), (std::vector<std::string>{"B", "2nd"}));
    expectEverythingWasRead(log);
}

TEST(LogFollowing, LeavesNeitherADescriptorNorAThread)
{
    const auto follow = [] {
        FollowedLog log{lineOf("first")};
        log.append(lineOf("A") + lineOf("B"));
        EXPECT_TRUE(log.waitUntilRead(log.content().size()));
        log.append(lineOf("C")); // its pass may still be running at the end
    };
    const auto threads = threadCount();
    follow(); // everything that the process creates once and keeps is created here
    const auto descriptors = descriptorCount();

    for (int round = 0; round < 5; ++round)
        follow();

    EXPECT_EQ(descriptorCount(), descriptors);
    EXPECT_TRUE(waitForThreadCount(threads));
}

} // namespace
} // namespace veltra
