#include "platform/desktop/ProcessExitWatch.h"

#include "platform/base/tests/SleepingProcess.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QProcess>

#include <filesystem>

#include <gtest/gtest.h>

namespace veltra {
namespace {

/// A watch that counts its calls.
class CountedWatch {
  public:
    explicit CountedWatch(pid_t process)
        : watch_{ProcessExitWatch::open(process, [this] { ++calls_; })}
    {
    }

    [[nodiscard]] const Result<std::unique_ptr<ProcessExitWatch>>& opened() const { return watch_; }
    [[nodiscard]] int calls() const noexcept { return calls_; }
    void destroy() { watch_.value().reset(); }

  private:
    int calls_ = 0;
    Result<std::unique_ptr<ProcessExitWatch>> watch_;
};

// Lets the event loop process everything that is pending.
void turn()
{
    bool isDone = false;
    MainQueue::post([&isDone] { isDone = true; });
    EXPECT_TRUE(runLoopUntil([&isDone] { return isDone; }));
}

TEST(ProcessExitWatch, TellsOnceOfAnExit)
{
    const SleepingProcess process;
    const CountedWatch watch{process.pid()};
    turn();
    EXPECT_EQ(watch.calls(), 0);

    process.kill();

    EXPECT_TRUE(runLoopUntil([&] { return watch.calls() > 0; }));
    turn();
    EXPECT_EQ(watch.calls(), 1);
}

TEST(ProcessExitWatch, TellsOfAProcessThatExitedBeforeAndIsStillThere)
{
    const SleepingProcess process;
    process.kill();
    siginfo_t information{};
    ::waitid(P_PID, static_cast<id_t>(process.pid()), &information, WEXITED | WNOWAIT);

    const CountedWatch watch{process.pid()};

    EXPECT_TRUE(runLoopUntil([&] { return watch.calls() == 1; }));
}

TEST(ProcessExitWatch, CannotBeOpenedOnAProcessThatIsGone)
{
    SleepingProcess process;
    process.killAndReap();

    const CountedWatch watch{process.pid()};

    ASSERT_FALSE(watch.opened());
    EXPECT_EQ(watch.opened().error().code(), std::errc::no_such_process);
}

TEST(ProcessExitWatch, IsQuietOnceItIsDestroyed)
{
    const SleepingProcess process;
    CountedWatch watch{process.pid()};
    CountedWatch other{process.pid()};

    watch.destroy();
    process.kill();

    EXPECT_TRUE(runLoopUntil([&] { return other.calls() == 1; }));
    turn();
    EXPECT_EQ(watch.calls(), 0);
}

TEST(ProcessExitWatch, MayBeDestroyedByItsOwnCall)
{
    const SleepingProcess process;
    std::unique_ptr<ProcessExitWatch> watch;
    bool isCalled = false;
    watch = std::move(ProcessExitWatch::open(process.pid(), [&] {
                          watch.reset();
                          isCalled = true;
                      }).value());

    process.kill();

    EXPECT_TRUE(runLoopUntil([&] { return isCalled; }));
    EXPECT_EQ(watch, nullptr);
}

TEST(ProcessExitWatch, WatchesAProcessOfRootForAnOrdinaryUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: nobody else can be two users";
    const SleepingProcess process;
    const TemporaryFolder folder; // accessible to the other user, wherever the build is
    std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
    std::filesystem::copy_file(VELTRA_TEST_WATCH_PROCESS, folder.file("watch"));
    QProcess watcher;
    watcher.start(QStringLiteral("setpriv"),
                  {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                   QStringLiteral("--clear-groups"), QString::fromStdString(folder.file("watch")),
                   QString::number(process.pid())});
    ASSERT_TRUE(watcher.waitForReadyRead(10'000)) << watcher.readAllStandardError().toStdString();
    ASSERT_EQ(watcher.readAll(), "watching as 65534\n");

    process.kill();

    ASSERT_TRUE(watcher.waitForFinished(10'000));
    EXPECT_EQ(watcher.readAll(), "exited\n");
}

} // namespace
} // namespace veltra
