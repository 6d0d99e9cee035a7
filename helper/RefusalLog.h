#pragma once

#include "platform/base/EventLoop.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace veltra {

/// Logs who was refused and why, one line each. Of a flood it logs the first lines, and the number
/// of the others once a period. Use it on the thread of the loop, which must outlive it.
class RefusalLog {
  public:
    static constexpr std::size_t mostLines = 20;

    explicit RefusalLog(EventLoop& loop, std::chrono::milliseconds period = std::chrono::minutes{1})
        : loop_{loop}, period_{period}
    {
    }
    RefusalLog(const RefusalLog&) = delete;
    RefusalLog& operator=(const RefusalLog&) = delete;

    /// Logs the number of those that are left.
    ~RefusalLog();

    void add(const std::string& line);

  private:
    void endPeriod();

    EventLoop& loop_;
    std::chrono::milliseconds period_;
    std::size_t refused_ = 0; // in this period, which has not begun while there are none
    EventLoop::Registration end_;
};

} // namespace veltra
