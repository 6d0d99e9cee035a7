#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/fakes/FakeWorkspace.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/kqueue/fakes/FakeKernelQueue.h"
#include "watch/VXStatusQueueCentral.h"
#include "watch/WatcherNotifications.h"

#include <QString>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {

/// Runs the event loop until `condition` holds; false if it does not within a minute, part of which
/// a busy machine and a slow build may need.
[[nodiscard]] inline bool runLoopLongUntil(const std::function<bool()>& condition)
{
    for (int attempt = 0; attempt < 6; ++attempt)
        if (runLoopUntil(condition))
            return true;
    return false;
}

/// A condition that one thread waits for and another makes true. Any thread.
class Gate {
  public:
    void open()
    {
        const std::lock_guard lock{mutex_};
        isOpen_ = true;
        opened_.notify_all();
    }

    /// False if nobody opens it within half a minute.
    bool waitUntilOpen() const
    {
        std::unique_lock lock{mutex_};
        return opened_.wait_for(lock, std::chrono::minutes{1}, [this] { return isOpen_; });
    }

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable opened_;
    bool isOpen_ = false;
};

/// One thing that the watcher did.
struct Happening {
    QString where;             ///< "default", "workspace", "noted" or "addpath"
    Notification notification; ///< of the latter two only the name, which is the path
    bool isOnMainThread = false;
    std::thread::id thread;

    [[nodiscard]] QString path() const
    {
        return notification.userInfo.value(QStringLiteral("path")).toString();
    }
    [[nodiscard]] QString inWords() const { return where + u' ' + notification.name; }
};

/// What happened, in order. Any thread; wakes the event loop for everything that is added.
class Journal {
  public:
    void add(const QString& where, const Notification& notification)
    {
        {
            const std::lock_guard lock{mutex_};
            happenings_.push_back({.where = where,
                                   .notification = notification,
                                   .isOnMainThread = MainQueue::isMainThread(),
                                   .thread = std::this_thread::get_id()});
        }
        MainQueue::post([] {});
    }

    [[nodiscard]] std::vector<Happening> happenings() const
    {
        const std::lock_guard lock{mutex_};
        return happenings_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Happening> happenings_;
};

class JournalingWorkspace : public FakeWorkspace {
  public:
    explicit JournalingWorkspace(Journal& journal) : journal_{journal} {}

    void noteFileSystemChanged(const QString& path) override
    {
        journal_.add(QStringLiteral("noted"), {.name = path, .object = {}, .userInfo = {}});
        FakeWorkspace::noteFileSystemChanged(path);
    }

  private:
    Journal& journal_;
};

class JournalingReceiver : public LogPathReceiver {
  public:
    explicit JournalingReceiver(Journal& journal) : journal_{journal} {}

    void addpath(const QString& path) override
    {
        journal_.add(QStringLiteral("addpath"), {.name = path, .object = {}, .userInfo = {}});
    }

  private:
    Journal& journal_;
};

inline const QString logNotification = QStringLiteral("VXStatusNotification");

/// A watcher over a queue without a kernel, a log folder with one log in it, and a journal of
/// everything that the watcher does.
class WatcherTest : public testing::Test {
  protected:
    WatcherTest()
    {
        logs_.write("vxsvc_1.log", "");
        elsewhere_.write("fence", "");
        observe(notifications_, QStringLiteral("default"));
        observe(workspace_.notificationCenter(), QStringLiteral("workspace"));
        auto queue = std::make_unique<FakeKernelQueue>();
        queue_ = queue.get();
        central_ = std::make_unique<VXStatusQueueCentral>(std::move(queue), dependencies());
    }

    [[nodiscard]] VXStatusQueueDependencies dependencies()
    {
        return {.notifications = notifications_,
                .workspace = workspace_,
                .resources = resources_,
                .pathReceiver = [this]() -> LogPathReceiver& { return receiver_; },
                .installation = installation_};
    }

    [[nodiscard]] QString log(const std::string& name = "vxsvc_1.log") const
    {
        return QString::fromStdString(logs_.file(name));
    }

    /// Creates a log that is newer than all others by `seconds`.
    void makeLog(const std::string& name, int seconds) const
    {
        logs_.write(name, "");
        const auto later =
            std::filesystem::file_time_type::clock::now() + std::chrono::seconds{seconds};
        std::filesystem::last_write_time(logs_.file(name), later);
    }

    /// Reports bits for a watched path, as one event.
    void post(const QString& path, std::uint32_t notes)
    {
        const auto entry = central_->entry(path);
        ASSERT_TRUE(entry) << path.toStdString();
        queue_->post(entry->watchedFD(), notes);
    }

    /// Waits until the watcher has processed everything that was posted: finally another file
    /// changes, and its event comes after all of theirs.
    void settle()
    {
        const QString fence = QString::fromStdString(elsewhere_.file("fence"));
        if (!central_->entry(fence))
            central_->addPath(fence, NOTE_REVOKE);
        const std::size_t before = fencesIn(journal_.happenings(), fence);
        post(fence, NOTE_REVOKE);
        ASSERT_TRUE(runLoopUntil([&] { return fencesIn(journal_.happenings(), fence) > before; }));
    }

    /// What was done about files other than the fence.
    [[nodiscard]] std::vector<Happening> happenings() const
    {
        const QString fence = QString::fromStdString(elsewhere_.file("fence"));
        auto all = journal_.happenings();
        std::erase_if(all, [&](const Happening& each) {
            return each.path() == fence || each.notification.name == fence;
        });
        return all;
    }
    [[nodiscard]] QStringList inWords() const
    {
        QStringList words;
        for (const Happening& each : happenings())
            words += each.inWords();
        return words;
    }

    Journal journal_;
    TemporaryFolder logs_;
    TemporaryFolder elsewhere_;
    const AgentInstallation installation_{.logFolder = logs_.path() + "/"};
    const VXStatusResourceController resources_{installation_, nullptr};
    NotificationCenter notifications_;
    JournalingWorkspace workspace_{journal_};
    JournalingReceiver receiver_{journal_};
    std::vector<NotificationCenter::Registration> registrations_;
    FakeKernelQueue* queue_ = nullptr;
    std::unique_ptr<VXStatusQueueCentral> central_;

  private:
    void observe(NotificationCenter& center, const QString& where)
    {
        const auto add = [this, where](const Notification& notification) {
            journal_.add(where, notification);
        };
        for (const auto& [note, name] : watcherNotifications())
            registrations_.push_back(center.addObserver(name, nullptr, add));
        registrations_.push_back(center.addObserver(logNotification, nullptr, add));
    }

    static std::size_t fencesIn(const std::vector<Happening>& happenings, const QString& fence)
    {
        return static_cast<std::size_t>(
            std::ranges::count_if(happenings, [&](const Happening& each) {
                return each.where == u"workspace" && each.path() == fence;
            }));
    }
};

[[nodiscard]] inline bool isOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

/// How many threads, and how many open descriptors, this process has.
[[nodiscard]] inline std::ptrdiff_t entriesOf(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator{folder},
                         std::filesystem::directory_iterator{});
}
/// How many threads the process has. The first call starts one and waits for its end, because
/// ThreadSanitizer starts its own thread along with the program's first one.
[[nodiscard]] inline std::ptrdiff_t threadCount()
{
    static const bool isStarted = [] {
        pid_t started = 0;
        std::thread{[&started] { started = ::gettid(); }}.join();
        // The joined one may be listed a moment longer.
        const std::string listed = "/proc/self/task/" + std::to_string(started);
        while (std::filesystem::exists(listed))
            std::this_thread::yield();
        return true;
    }();
    return isStarted ? entriesOf("/proc/self/task") : 0;
}
[[nodiscard]] inline std::ptrdiff_t descriptorCount()
{
    return entriesOf("/proc/self/fd");
}

/// Whether the number of threads falls to `count`; a joined thread may still be listed for a
/// moment.
[[nodiscard]] inline bool waitForThreadCount(std::ptrdiff_t count)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes{1};
    while (threadCount() != count) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace veltra
