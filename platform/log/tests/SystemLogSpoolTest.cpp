#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

using Messages = std::vector<std::string>;

/// $TMPDIR names the test's own folder, where its spool files can be told from others.
class SystemLogSpool : public testing::Test {
  protected:
    SystemLogSpool()
    {
        if (const char* folder = std::getenv("TMPDIR"))
            previous_ = folder;
        ::setenv("TMPDIR", folder_.path().c_str(), 1);
    }
    ~SystemLogSpool() override
    {
        if (previous_)
            ::setenv("TMPDIR", previous_->c_str(), 1);
        else
            ::unsetenv("TMPDIR");
    }

    // The path of the spool file of the test's log, which has no name; empty if there is none.
    std::string spoolPath() const
    {
        for (const auto& descriptor : std::filesystem::directory_iterator{"/proc/self/fd"}) {
            std::error_code failure;
            const std::string target = std::filesystem::read_symlink(descriptor, failure);
            if (target.starts_with(folder_.path()))
                return descriptor.path();
        }
        return {};
    }

    struct stat spoolFile() const
    {
        struct stat status {};
        if (::stat(spoolPath().c_str(), &status) != 0)
            status = {};
        return status;
    }

    TemporaryFolder folder_;
    std::optional<std::string> previous_;
    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
};

constexpr std::string_view beforeNumber = "message number ";
constexpr std::string_view behindNumber = " of the program's log, in full length";

std::string numbered(std::size_t number)
{
    return std::string{beforeNumber} + std::to_string(number) + std::string{behindNumber};
}

// Logs numbered messages without allocating any memory itself.
void logNumbered(SystemLog& log, std::size_t count)
{
    std::array<char, 20> digits{};
    for (std::size_t i = 0; i < count; ++i) {
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), i).ptr;
        log.write({beforeNumber, std::string_view{digits.data(), end}, behindNumber});
    }
}

// Counts the messages that are not the next expected one, without keeping any.
class SequenceCheck {
  public:
    void operator()(std::string_view message)
    {
        *faults_ += message == numbered(*next_) ? 0 : 1;
        ++*next_;
    }
    std::size_t faults() const { return *faults_; }

  private:
    std::shared_ptr<std::atomic<std::size_t>> next_ = std::make_shared<std::atomic<std::size_t>>(0);
    std::shared_ptr<std::atomic<std::size_t>> faults_ =
        std::make_shared<std::atomic<std::size_t>>(0);
};

std::size_t residentBytes()
{
    std::ifstream file{"/proc/self/statm"};
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST_F(SystemLogSpool, HoldsAMillionMessagesInBoundedMemory)
{
    constexpr std::size_t count = 1'000'000;
    constexpr std::size_t memoryBound = 20 << 20;
    const SequenceCheck check;
    const auto recording = std::make_shared<Recording>(check);
    recording->setOpen(false);
    SystemLog log{Recording::sink(recording)};
    const std::size_t before = residentBytes();

    logNumbered(log, count);
    const std::size_t after = residentBytes();
    const struct stat spooled = spoolFile();
    recording->setOpen(true);
    log.drain();

    EXPECT_LT(after, before + memoryBound);
    EXPECT_GT(spooled.st_size, 50 << 20);
    EXPECT_EQ(recording->count(), count);
    EXPECT_EQ(check.faults(), 0U);
}

TEST_F(SystemLogSpool, KeepsItsFileWithoutANameAndPrivate)
{
    recording_->setOpen(false);
    SystemLog log{Recording::sink(recording_), 1000};

    logNumbered(log, 100);
    const struct stat spooled = spoolFile();
    recording_->setOpen(true);

    EXPECT_GT(spooled.st_size, 0);
    EXPECT_EQ(spooled.st_nlink, 0U);
    EXPECT_EQ(spooled.st_mode & 07777, 0600U);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(SystemLogSpool, MakesNoFileWhileMemoryHoldsEverything)
{
    recording_->setOpen(false);
    SystemLog log{Recording::sink(recording_), 100'000};

    logNumbered(log, 100);
    const struct stat spooled = spoolFile();
    recording_->setOpen(true);

    EXPECT_EQ(spooled.st_mode, 0U);
}

TEST_F(SystemLogSpool, EmptiesItsFileWhenTheSinkHasCaughtUpAndUsesItAgain)
{
    SystemLog log{Recording::sink(recording_), 1000};
    Messages expected;

    for (int round = 0; round < 3; ++round) {
        recording_->setOpen(false);
        for (std::size_t i = 0; i < 500; ++i) {
            expected.push_back(numbered(expected.size()));
            log.write({expected.back()});
        }
        EXPECT_GT(spoolFile().st_size, 0);
        recording_->setOpen(true);
        log.drain();
        EXPECT_EQ(spoolFile().st_size, 0);
    }

    EXPECT_EQ(recording_->messages(), expected);
}

TEST_F(SystemLogSpool, TakesAMessageOfAHundredMegabytes)
{
    const std::string huge(100'000'000, 'x');
    std::vector<std::size_t> sizes;
    bool isWhole = false;
    const auto recording = std::make_shared<Recording>([&](std::string_view message) {
        sizes.push_back(message.size());
        isWhole = isWhole || message == huge;
    });
    recording->setOpen(false);
    SystemLog log{Recording::sink(recording)};

    log.write({"a"});
    log.write({huge});
    log.write({"bc"});
    const struct stat spooled = spoolFile();
    recording->setOpen(true);
    log.drain();

    EXPECT_GT(spooled.st_size, 100'000'000);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{1, huge.size(), 2}));
    EXPECT_TRUE(isWhole);
}

TEST_F(SystemLogSpool, KeepsTheOrderOfMessagesSmallerAndLargerThanItsMemory)
{
    recording_->setOpen(false);
    SystemLog log{Recording::sink(recording_), 1000};
    Messages expected;

    for (std::size_t i = 0; i < 300; ++i) {
        expected.push_back(std::to_string(i) + std::string(i * 37 % 1200, '.'));
        log.write({expected.back()});
        if (i == 200)
            recording_->setOpen(true);
    }
    log.drain();

    EXPECT_EQ(recording_->messages(), expected);
}

TEST_F(SystemLogSpool, HoldsNextToNothingWithAMemoryOfNothing)
{
    SystemLog log{Recording::sink(recording_), 0};
    const Messages expected{"", "a", std::string(100, 'b')};

    for (const std::string& message : expected)
        log.write({message});
    log.drain();

    EXPECT_EQ(recording_->messages(), expected);
}

// Waits until a thread of this process sleeps in the kernel, or has ended.
bool waitUntilAsleep(pid_t thread)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes{1};
    while (std::chrono::steady_clock::now() < deadline) {
        std::ifstream file{"/proc/self/task/" + std::to_string(thread) + "/stat"};
        std::string line;
        if (!std::getline(file, line) || line.find(") S ") != std::string::npos)
            return true;
        std::this_thread::yield();
    }
    return false;
}

// Runs in a separate child: a limit on the size of files, which acts like a full disk, cannot be
// undone.
int logBeyondAFullDisk(rlim_t fileLimit, std::size_t hugeSize)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{.rlim_cur = fileLimit, .rlim_max = fileLimit};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 1;

    const auto recording = std::make_shared<Recording>();
    recording->setOpen(false);
    SystemLog log{Recording::sink(recording), 10'000};
    log.write({numbered(0)});
    if (!recording->waitUntilHeld())
        return 2;

    Messages expected{numbered(0)};
    for (std::size_t i = 1; i < 5000; ++i)
        expected.push_back(numbered(i) + std::string(i == 4000 ? hugeSize : 0, 'x'));
    std::atomic<pid_t> writerId{0};
    std::atomic<bool> isWriterDone{false};
    std::jthread writer{[&] {
        writerId = ::gettid();
        for (std::size_t i = 1; i < expected.size(); ++i)
            log.write({expected[i]});
        isWriterDone = true;
    }};
    while (writerId == 0)
        std::this_thread::yield();
    if (!waitUntilAsleep(writerId))
        return 3;

    const bool hasWaited = !isWriterDone;
    recording->setOpen(true);
    writer.join();
    log.drain();
    return !hasWaited ? 4 : recording->messages() != expected ? 5 : 0;
}

TEST_F(SystemLogSpool, WaitsForRoomAndLosesNothingWhenNoFileCanBeWritten)
{
    EXPECT_EQ(runInChild([] { return logBeyondAFullDisk(0, 0); }), 0);
}

TEST_F(SystemLogSpool, WaitsForRoomAndLosesNothingWhenTheDiskFillsUp)
{
    EXPECT_EQ(runInChild([] { return logBeyondAFullDisk(50'001, 0); }), 0);
}

TEST_F(SystemLogSpool, TakesAMessageThatFitsNeitherMemoryNorDisk)
{
    EXPECT_EQ(runInChild([] { return logBeyondAFullDisk(50'001, 100'000); }), 0);
}

TEST_F(SystemLogSpool, SaysWhatTheDiskHasLostAndGoesOn)
{
    recording_->setOpen(false);
    SystemLog log{Recording::sink(recording_), 1000};
    logNumbered(log, 100);
    ASSERT_TRUE(recording_->waitUntilHeld());

    ASSERT_EQ(::truncate(spoolPath().c_str(), 0), 0);
    recording_->setOpen(true);
    log.drain();
    log.write({"after"});
    log.drain();

    const Messages messages = recording_->messages();
    const auto loss = std::ranges::find_if(messages, [](const std::string& message) {
        return message.ends_with(" bytes of log messages were lost: No data available");
    });
    ASSERT_NE(loss, messages.end());
    EXPECT_GT(std::stoul(*loss), 1000U);
    EXPECT_EQ(messages.back(), "after");
}

TEST_F(SystemLogSpool, TakesAnotherFolderWhenTheNamedOneIsNotThere)
{
    ::setenv("TMPDIR", folder_.file("missing").c_str(), 1);
    recording_->setOpen(false);
    SystemLog log{Recording::sink(recording_), 1000};
    Messages expected;

    for (std::size_t i = 0; i < 100; ++i) {
        expected.push_back(numbered(i));
        log.write({expected.back()});
    }
    recording_->setOpen(true);
    log.drain();

    EXPECT_EQ(recording_->messages(), expected);
}

} // namespace
} // namespace veltra
