#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventLoop.h"
#include "platform/base/Fd.h"
#include "platform/process/ReadingGate.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace veltra {

/// One stream of a program's output: a pipe that is read in few, large pieces.
///
/// Output gathers in the pipe until the stream ends, has been silent for 100 ms, has waited for 500
/// ms, or comes to mostInAPiece; then it is read once, as soon as the gate is open. So lines that a
/// program flushes one by one arrive together. Use it on the loop's thread.
class OutputStream : public std::enable_shared_from_this<OutputStream> {
  public:
    static constexpr std::size_t mostInAPiece = 65536;

    /// Receives what each read returned, but not the start of a character at its end: that is put
    /// before the next piece. What is left of it when the stream ends is a piece of its own. Then
    /// comes one empty piece.
    using Handler = std::function<void(std::string_view)>;

    OutputStream(EventLoop& loop, std::shared_ptr<ReadingGate> gate, Handler onPiece);
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;
    ~OutputStream() = default;

    /// Makes the pipe and returns the program's end, to be closed once the program has its own. The
    /// stream keeps itself alive until it ends.
    [[nodiscard]] Result<Fd> start();

    /// Stops reading; the handler is not called any more.
    void stop();

  private:
    using Clock = std::chrono::steady_clock;

    void look();
    void gather();
    void wait(std::chrono::milliseconds time);
    void waited();
    void readSoon();
    void read();
    void end();
    [[nodiscard]] std::size_t bytesWaiting() const;
    [[nodiscard]] bool isClosed() const;

    EventLoop& loop_;
    std::shared_ptr<ReadingGate> gate_;
    Handler onPiece_;

    Fd pipe_; // empty before the start and after the end
    EventLoop::Registration watch_;
    std::size_t enough_ = 0; // to read at once

    EventLoop::Registration timer_;
    std::optional<Clock::time_point> gatheringSince_;
    Clock::time_point lastArrival_;
    bool isReadDue_ = false;
    std::string unfinished_; // the start of a character
};

} // namespace veltra
