#pragma once

#include "platform/log/SystemLog.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace veltra {

/// The messages that a log's sink has taken, and a gate that blocks it. Any thread.
class Recording {
  public:
    using Visitor = std::function<void(std::string_view)>;

    /// Keeps every message, or passes it to `visitor` instead.
    explicit Recording(Visitor visitor = {}) : visitor_{std::move(visitor)} {}

    /// A sink that keeps the recording alive.
    static std::unique_ptr<LogSink> sink(const std::shared_ptr<Recording>& recording)
    {
        return std::make_unique<Sink>(recording);
    }

    /// A closed gate blocks the sink inside write() until it is opened.
    void setOpen(bool isOpen)
    {
        const std::lock_guard lock{mutex_};
        isOpen_ = isOpen;
        changed_.notify_all();
    }

    /// Waits until the sink is inside write(), or has been destroyed.
    bool waitUntilHeld() const
    {
        return wait([this] { return isInside_; });
    }
    bool waitUntilDestroyed() const
    {
        return wait([this] { return isDestroyed_; });
    }

    std::vector<std::string> messages() const
    {
        const std::lock_guard lock{mutex_};
        return messages_;
    }

    std::size_t count() const
    {
        const std::lock_guard lock{mutex_};
        return count_;
    }

  private:
    class Sink : public LogSink {
      public:
        explicit Sink(std::shared_ptr<Recording> recording) : recording_{std::move(recording)} {}
        ~Sink() override
        {
            const std::lock_guard lock{recording_->mutex_};
            recording_->isDestroyed_ = true;
            recording_->changed_.notify_all();
        }
        void write(std::string_view message) override { recording_->take(message); }

      private:
        std::shared_ptr<Recording> recording_;
    };

    template <typename Condition>
    bool wait(Condition condition) const
    {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, std::chrono::minutes{1}, condition);
    }

    void take(std::string_view message)
    {
        std::unique_lock lock{mutex_};
        isInside_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
        isInside_ = false;
        ++count_;
        if (visitor_)
            visitor_(message);
        else
            messages_.emplace_back(message);
    }

    const Visitor visitor_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> messages_;
    std::size_t count_ = 0;
    bool isOpen_ = true;
    bool isInside_ = false;
    bool isDestroyed_ = false;
};

} // namespace veltra
