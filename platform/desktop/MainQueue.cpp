#include "platform/desktop/MainQueue.h"

#include "platform/base/EventFd.h"
#include "platform/log/SystemLog.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace veltra {

namespace {

using Work = std::function<void()>;

// More work than this in one event loop iteration would delay input and painting.
constexpr std::size_t mostPerTurn = 64;

/// The waiting work, the descriptor that is readable as long as there is any, and who may run it.
///
/// A descriptor wakes the event loop, not a posted event, so that only this class's own lock passes
/// work between threads. It stays readable until the last piece of work is taken, so an event loop
/// that is started by a piece of work continues with the others.
class Queue {
  public:
    void open()
    {
        const std::lock_guard lock{mutex_};
        mainThread_ = std::this_thread::get_id();
        closed_ = false;
    }

    void close()
    {
        std::deque<Work> dropped;
        const std::lock_guard lock{mutex_};
        closed_ = true;
        dropped.swap(work_);
        wakeUp_.clear();
    }

    void push(Work work)
    {
        const std::lock_guard lock{mutex_};
        if (closed_)
            return;

        work_.push_back(std::move(work));
        if (work_.size() == 1)
            wakeUp_.signal();
    }

    /// The oldest work, or an empty function.
    Work take()
    {
        const std::lock_guard lock{mutex_};
        if (work_.empty())
            return {};

        Work oldest = std::move(work_.front());
        work_.pop_front();
        if (work_.empty())
            wakeUp_.clear();
        return oldest;
    }

    std::size_t size() const
    {
        const std::lock_guard lock{mutex_};
        return work_.size();
    }

    bool isMainThread() const
    {
        const std::lock_guard lock{mutex_};
        return mainThread_ == std::this_thread::get_id();
    }

    int descriptor() const noexcept { return wakeUp_.descriptor(); }

  private:
    static EventFd makeWakeUp()
    {
        auto wakeUp = EventFd::open();
        if (!wakeUp)
            throw std::system_error{wakeUp.error().code(), wakeUp.error().message()};

        return std::move(wakeUp.value());
    }

    EventFd wakeUp_ = makeWakeUp();
    mutable std::mutex mutex_;
    std::deque<Work> work_;
    std::thread::id mainThread_ = std::this_thread::get_id();
    bool closed_ = false;
};

Queue& queue()
{
    // Never destroyed: threads may still post while the process ends.
    static Queue& instance = *new Queue;
    return instance;
}

/// The outcome that a thread in runAndWait() waits for.
class Outcome {
  public:
    enum class Kind { pending, done, dropped };

    void settle(Kind kind, std::exception_ptr error)
    {
        const std::lock_guard lock{mutex_};
        kind_ = kind;
        error_ = std::move(error);
        // Notified under the lock: once it is free, the waiting thread may destroy this object.
        settled_.notify_one();
    }

    void waitAndThrow()
    {
        std::unique_lock lock{mutex_};
        settled_.wait(lock, [this] { return kind_ != Kind::pending; });
        if (kind_ == Kind::dropped)
            throw std::runtime_error{"the main thread's event loop is closed"};
        if (error_)
            std::rethrow_exception(std::exchange(error_, nullptr));
    }

  private:
    std::mutex mutex_;
    std::condition_variable settled_;
    Kind kind_ = Kind::pending;
    std::exception_ptr error_;
};

/// Work that a thread waits for; sets the outcome even if it is dropped without having run.
class AwaitedWork {
  public:
    AwaitedWork(const Work& work, Outcome& outcome) : work_{work}, outcome_{&outcome} {}
    AwaitedWork(const AwaitedWork&) = delete;
    AwaitedWork& operator=(const AwaitedWork&) = delete;

    ~AwaitedWork()
    {
        if (outcome_)
            outcome_->settle(Outcome::Kind::dropped, nullptr);
    }

    void run()
    {
        // This thread releases the exception before the other thread learns of it, so that both
        // never use it at the same time.
        std::exception_ptr error;
        try {
            work_();
        } catch (...) {
            error = std::current_exception();
        }
        std::exchange(outcome_, nullptr)->settle(Outcome::Kind::done, std::move(error));
    }

  private:
    const Work& work_;
    Outcome* outcome_;
};

void runLogged(const Work& work)
{
    try {
        work();
    } catch (const std::exception& error) {
        SystemLog::logThrown(error);
    } catch (...) {
        SystemLog::log("the error is of an unknown kind");
    }
}

// Work that is posted meanwhile waits for the next iteration; otherwise it could block the loop.
void runTurn()
{
    std::size_t remaining = std::min(queue().size(), mostPerTurn);
    while (remaining-- > 0) {
        const Work work = queue().take();
        if (!work)
            return;
        runLogged(work);
    }
}

std::unique_ptr<QSocketNotifier>& notifier()
{
    static std::unique_ptr<QSocketNotifier>& instance = *new std::unique_ptr<QSocketNotifier>;
    return instance;
}

void detach()
{
    notifier().reset();
}

void attachToApplication()
{
    queue().open();
    notifier() = std::make_unique<QSocketNotifier>(queue().descriptor(), QSocketNotifier::Read);
    QObject::connect(notifier().get(), &QSocketNotifier::activated, &runTurn);
    qAddPostRoutine(detach);
}

// Creates the queue on the process's initial thread.
[[maybe_unused]] const Queue& madeAtStart = queue();

} // namespace

Q_COREAPP_STARTUP_FUNCTION(attachToApplication)

void MainQueue::post(std::function<void()> work)
{
    if (work)
        queue().push(std::move(work));
}

void MainQueue::runAndWait(const std::function<void()>& work)
{
    if (isMainThread()) {
        work();
        return;
    }

    Outcome outcome;
    {
        auto awaited = std::make_shared<AwaitedWork>(work, outcome);
        post([awaited = std::move(awaited)] { awaited->run(); });
    }
    outcome.waitAndThrow();
}

void MainQueue::close()
{
    queue().close();
}

bool MainQueue::isMainThread()
{
    return queue().isMainThread();
}

} // namespace veltra
