#pragma once

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include <unistd.h>

namespace veltra {

/// A thread that runs `work`, and a way to find out when it waits.
class SleepingThread {
  public:
    explicit SleepingThread(const std::function<void()>& work)
        : thread_{[this, work] {
              id_ = gettid();
              work();
          }}
    {
    }

    /// Returns true as soon as the kernel says that the thread sleeps, false if it does not within
    /// a minute.
    [[nodiscard]] bool waitUntilAsleep() const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes{1};
        while (state() != 'S') {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::yield();
        }
        return true;
    }

    void join() { thread_.join(); }

  private:
    // The third field of proc(5)'s stat; the second is a name in parentheses.
    [[nodiscard]] char state() const
    {
        std::ifstream file{"/proc/self/task/" + std::to_string(id_.load()) + "/stat"};
        std::string line;
        std::getline(file, line);
        const auto end = line.rfind(')');
        return end + 2 < line.size() ? line[end + 2] : '?';
    }

    std::atomic<pid_t> id_ = 0;
    std::thread thread_;
};

} // namespace veltra
