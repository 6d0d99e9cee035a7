#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"
#include "platform/log/tests/ResidentBytes.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <optional>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
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

TEST_F(SystemLogSpool, GivesTheDiskBackWhenTheSinkHasCaughtUp)
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
        EXPECT_EQ(spoolPath(), "");
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

// How many numbered messages were taken or, as a message in their place says, left out; nothing if
// one is missing or out of order.
std::optional<std::size_t> accountedFor(const Messages& messages)
{
    std::size_t next = 0;
    for (const std::string& message : messages) {
        if (message.ends_with(" log messages were left out: File too large"))
            next += std::stoul(message);
        else if (message != numbered(next++))
            return std::nullopt;
    }
    return next;
}

// Runs in a separate child: a limit on the size of files, which acts like a full disk, cannot be
// undone.
int logBeyondAFullDisk(rlim_t fileLimit)
{
    constexpr std::size_t count = 20'000;
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{.rlim_cur = fileLimit, .rlim_max = fileLimit};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 1;

    const auto recording = std::make_shared<Recording>();
    recording->setOpen(false);
    SystemLog log{Recording::sink(recording), 10'000};
    logNumbered(log, count);
    recording->setOpen(true);
    log.drain();
    log.drain(); // a note that was made meanwhile

    const Messages messages = recording->messages();
    EXPECT_EQ(accountedFor(messages), count);
    EXPECT_GT(messages.size(), 1U);
    EXPECT_LT(messages.size(), count);
    return 0;
}

TEST_F(SystemLogSpool, LeavesMessagesOutAndCountsThemWhenNoFileCanBeWritten)
{
    EXPECT_EQ(runInChild([] { return logBeyondAFullDisk(0); }), 0);
}

TEST_F(SystemLogSpool, LeavesMessagesOutAndCountsThemWhenTheDiskFillsUp)
{
    EXPECT_EQ(runInChild([] { return logBeyondAFullDisk(50'001); }), 0);
}

bool canMount()
{
    return runInChild([] { return ::unshare(CLONE_NEWNS) == 0 ? 0 : 1; }) == 0;
}

TEST_F(SystemLogSpool, GoesOnInAnotherFolderWhenADiskIsFull)
{
    if (!canMount())
        GTEST_SKIP() << "for want of a mount namespace: a small disk is in one";

    const int result = runInChild([this] {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, "size=64k") != 0)
            return 1;

        const SequenceCheck check;
        const auto recording = std::make_shared<Recording>(check);
        recording->setOpen(false);
        SystemLog log{Recording::sink(recording), 10'000};
        logNumbered(log, 20'000);
        EXPECT_GT(spoolFile().st_size, 0);
        recording->setOpen(true);
        log.drain();

        EXPECT_EQ(recording->count(), 20'000U);
        EXPECT_EQ(check.faults(), 0U);
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(SystemLogSpool, GivesTheMemoryOfAHugeMessageBack)
{
    constexpr std::size_t bound = 100'000'000;
    const auto recording = std::make_shared<Recording>([](std::string_view) {});
    SystemLog log{Recording::sink(recording)};
    const std::size_t before = residentBytes();

    log.write({std::string(3 * bound, 'x')});
    log.drain();

    EXPECT_LT(residentBytes(), before + bound);
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
