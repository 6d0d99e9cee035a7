#pragma once

#include "platform/kqueue/KernelQueue.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace veltra {

/// A queue that watches nothing and whose waits end as a test says. Any thread.
class ScriptedKernelQueue : public KernelQueue {
  public:
    using Outcome = std::function<std::optional<Event>()>;

    /// Sets the outcome of the next wait.
    void add(Outcome outcome)
    {
        const std::lock_guard lock{mutex_};
        outcomes_.push_back(std::move(outcome));
        changed_.notify_all();
    }

    /// Waits until interrupt() was called; false if it is not called within half a minute.
    bool waitUntilInterrupted()
    {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, std::chrono::minutes{1}, [this] { return isInterrupted_; });
    }

    [[nodiscard]] int descriptor() const noexcept override { return -1; }
    [[nodiscard]] Result<Registration> watch(int /*descriptor*/, std::uint32_t /*fflags*/,
                                             std::weak_ptr<void> /*udata*/) override
    {
        return Error{std::make_error_code(std::errc::permission_denied), "watch"};
    }
    [[nodiscard]] std::optional<Event> wait() override
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [this] { return isInterrupted_ || !outcomes_.empty(); });
        if (outcomes_.empty())
            return std::nullopt;
        const Outcome outcome = std::move(outcomes_.front());
        outcomes_.pop_front();
        lock.unlock();
        return outcome();
    }
    void interrupt() noexcept override
    {
        const std::lock_guard lock{mutex_};
        isInterrupted_ = true;
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Outcome> outcomes_;
    bool isInterrupted_ = false;
};

} // namespace veltra
