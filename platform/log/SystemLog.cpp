#include "platform/log/SystemLog.h"

#include "platform/log/SpoolQueue.h"

#include <atomic>
#include <csignal>
#include <string>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace veltra {

namespace {

using Clock = SpoolQueue::Clock;

std::atomic<SystemLog*> redirectedLog{nullptr};

std::unique_ptr<LogSink> sharedSink()
{
    std::unique_ptr<LogSink> journal = makeJournalSink();
    return journal ? std::move(journal) : makeStreamSink(STDERR_FILENO);
}

// A thread inherits its creator's signal mask. The program's signals are meant for its other
// threads, and the SIGPIPE of a stream whose reader is gone stays pending on the log's thread.
class BlockedSignals {
  public:
    BlockedSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

  private:
    sigset_t previous_{};
};

} // namespace

/// Feeds the sink from the queue, on a thread that shares ownership of it: if a sink blocks for
/// ever, what it uses stays alive even when the log is destroyed.
class SystemLog::Feeder {
  public:
    Feeder(std::unique_ptr<LogSink> sink, std::size_t memoryLimit,
           std::chrono::milliseconds patience)
        : sink_{std::move(sink)}, queue_{memoryLimit}, patience_{patience}
    {
    }

    SpoolQueue& queue() { return queue_; }

    void run()
    {
        std::string batch;
        while (!isAbandoned_ && queue_.take(batch))
            deliver(batch);
    }

    /// Makes run() return: true if it has written out everything, false if the sink is stuck.
    bool finish()
    {
        const bool isWrittenOut = writeOut();
        isAbandoned_ = !isWrittenOut;
        queue_.close();
        return isWrittenOut;
    }

  private:
    void deliver(std::string_view batch)
    {
        while (!batch.empty() && !isAbandoned_)
            letSink([&] { sink_->write(SpoolQueue::next(batch)); });
        if (!isAbandoned_)
            letSink([&] { sink_->flush(); });
    }

    template <typename Work>
    void letSink(const Work& work) noexcept
    {
        try {
            work();
        } catch (...) {
            // The sink failed; there is nowhere else to report that.
        }
        lastTaken_ = Clock::now();
    }

    bool writeOut()
    {
        Clock::time_point since = Clock::now();
        while (!queue_.drain(since + patience_)) {
            const Clock::time_point taken = lastTaken_;
            if (taken <= since)
                return false;
            since = taken;
        }
        return true;
    }

    std::unique_ptr<LogSink> sink_;
    SpoolQueue queue_;
    const std::chrono::milliseconds patience_;
    std::atomic<Clock::time_point> lastTaken_{Clock::time_point{}};
    std::atomic<bool> isAbandoned_{false};
};

SystemLog::SystemLog(std::unique_ptr<LogSink> sink, std::size_t memoryLimit,
                     std::chrono::milliseconds patience)
{
    if (!sink)
        return;

    feeder_ = std::make_shared<Feeder>(std::move(sink), memoryLimit, patience);
    const BlockedSignals blocked;
    thread_ = std::thread{[feeder = feeder_] { feeder->run(); }};
}

SystemLog::~SystemLog()
{
    if (!feeder_)
        return;

    if (feeder_->finish())
        thread_.join();
    else
        thread_.detach();
}

void SystemLog::write(std::initializer_list<std::string_view> pieces)
{
    if (feeder_)
        feeder_->queue().push(pieces);
}

void SystemLog::drain()
{
    if (feeder_)
        feeder_->queue().drain();
}

bool SystemLog::drain(std::chrono::milliseconds timeLimit)
{
    return !feeder_ || feeder_->queue().drain(Clock::now() + timeLimit);
}

SystemLog& SystemLog::shared()
{
    static SystemLog log{sharedSink()};
    return log;
}

SystemLog::Redirection::Redirection(SystemLog& log) : previous_{redirectedLog.exchange(&log)} {}

SystemLog::Redirection::~Redirection()
{
    redirectedLog = previous_;
}

void SystemLog::log(std::initializer_list<std::string_view> pieces)
{
    SystemLog* const redirected = redirectedLog;
    (redirected ? *redirected : shared()).write(pieces);
}

} // namespace veltra
