#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

namespace veltra {

/// Runs an action when asked to, but at most once a frame, since a display shows no more.
///
/// A request runs the action at once if it has not run for a frame, otherwise when that time is
/// over; requests until then are one. Main thread only.
class OncePerFrame : public QObject {
    Q_OBJECT

  public:
    static constexpr std::chrono::milliseconds frame{16};

    explicit OncePerFrame(std::function<void()> action);

    void request();

  private:
    using Clock = std::chrono::steady_clock;

    void run();

    std::function<void()> action_;
    QTimer timer_;
    Clock::time_point next_; // the earliest time for the action
};

} // namespace veltra
