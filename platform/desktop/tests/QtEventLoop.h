#pragma once

#include "platform/desktop/MainQueue.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace veltra {

/// Runs the main thread's event loop until `condition` holds; false if it does not within a minute.
/// The condition is checked after every iteration of the loop.
[[nodiscard]] inline bool runLoopUntil(const std::function<bool()>& condition)
{
    const QDeadlineTimer deadline{std::chrono::minutes{1}};
    QTimer atDeadline;
    atDeadline.setSingleShot(true);
    atDeadline.start(std::chrono::minutes{1});
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/// Runs the main thread's event loop for that time.
inline void runLoopFor(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Runs `work`, which must not throw, on another thread while the main thread runs its event loop;
/// false if it does not end within a minute.
[[nodiscard]] inline bool runOnWorker(const std::function<void()>& work)
{
    std::atomic<bool> isDone = false;
    std::thread worker{[&] {
        work();
        isDone = true;
        MainQueue::post([] {});
    }};
    const bool hasEnded = runLoopUntil([&] { return isDone.load(); });
    worker.join();
    return hasEnded;
}

} // namespace veltra
