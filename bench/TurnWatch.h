#pragma once

#include "platform/base/Fd.h"

#include <QTimer>

#include <chrono>
#include <vector>

namespace veltra {

/// Measures how regularly the main thread returns to its event loop: once every millisecond, if
/// nothing holds it up. Main thread only.
class TurnWatch {
  public:
    using Duration = std::chrono::steady_clock::duration;

    /// The time from one iteration of the loop to the next.
    struct Gap {
        Duration begin;  ///< since start()
        Duration length; ///< never less than a millisecond or so
        Duration queued; ///< how long the thread waited for a processor during it; see proc(5)
    };

    TurnWatch();
    TurnWatch(const TurnWatch&) = delete;
    TurnWatch& operator=(const TurnWatch&) = delete;

    void start();
    /// Ends the last gap now.
    void stop();

    /// The gaps in order.
    [[nodiscard]] const std::vector<Gap>& gaps() const noexcept { return gaps_; }

  private:
    struct Instant {
        std::chrono::steady_clock::time_point time;
        Duration queued;
    };

    [[nodiscard]] Instant now() const;
    void turn();

    Fd statistics_;
    QTimer timer_;
    Instant start_{};
    Instant last_{};
    std::vector<Gap> gaps_;
};

} // namespace veltra
