#pragma once

#include <functional>

/// Work for the main thread, the one that runs the application object's event loop.
///
/// Work that throws is logged and passed over. Before the application object exists and after it
/// is gone, posted work waits for the next one.
namespace veltra::MainQueue {

/// Runs `work` on the main thread, soon, in the order of posting. Callable from any thread; on
/// the main thread too the work waits for its turn.
void post(std::function<void()> work);

/// Runs `work` on the main thread and returns when it is done; at once when called on the main
/// thread itself. What `work` throws is thrown to the caller. Throws std::runtime_error without
/// having run `work` when the event loop is closed (see close()).
void runAndWait(const std::function<void()>& work);

/// Says that no event loop will run any more: threads that wait in runAndWait(), and those that
/// call it from now on, get the exception; posted work is dropped. Called by the main thread when
/// its loop has ended. The making of another application object ends this state.
void close();

/// Whether the caller is the main thread: the one that made the application object or, before
/// there has been any, the one that the process began with.
[[nodiscard]] bool isMainThread();

} // namespace veltra::MainQueue
