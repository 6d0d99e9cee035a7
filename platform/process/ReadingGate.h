#pragma once

#include "platform/base/EventLoop.h"

#include <deque>
#include <functional>
#include <memory>

namespace veltra {

/// Holds back the reading of programs' output while nobody can take more of it. A program whose
/// output is not read blocks when its pipe is full, so no output piles up here.
///
/// Readers take turns, one for each turn of the loop, so none of them makes others wait for long.
/// Use it on the loop's thread.
class ReadingGate : public std::enable_shared_from_this<ReadingGate> {
  public:
    /// `isOpen` is asked before each reading.
    ReadingGate(EventLoop& loop, std::function<bool()> isOpen);
    ReadingGate(const ReadingGate&) = delete;
    ReadingGate& operator=(const ReadingGate&) = delete;
    ~ReadingGate() = default;

    /// Calls `read` once, when the gate is open and it is its turn; never before this returns.
    void whenOpen(std::function<void()> read);

    /// To be called when the gate may have opened.
    void opened() { takeTurn(); }

  private:
    void takeTurn();
    void letOneThrough();

    EventLoop& loop_;
    std::function<bool()> isOpen_;
    std::deque<std::function<void()>> waiting_;
    bool isTurnPosted_ = false;
};

} // namespace veltra
