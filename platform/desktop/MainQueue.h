#pragma once

#include <functional>

/// Work for the main thread, the one that runs the application object's event loop.
///
/// Exceptions from work are logged and otherwise ignored. If there is no application object, before
/// or after its life, posted work waits for the next one.
namespace veltra::MainQueue {

/// Runs `work` on the main thread, soon, in the order of posting. May be called from any thread;
/// when called on the main thread, the work is also only queued.
void post(std::function<void()> work);

/// Runs `work` on the main thread and returns when it is done; runs it at once if called on the
/// main thread. An exception from `work` is rethrown to the caller. Throws std::runtime_error
/// without running `work` if the event loop is closed (see close()).
void runAndWait(const std::function<void()>& work);

/// Announces that no event loop will run any more: threads that wait in runAndWait() or call it
/// later get the exception, and posted work is dropped. The main thread calls it when its loop has
/// ended. Creating another application object reverses this.
void close();

/// Whether the caller is the main thread: the one that created the application object or, before
/// there has been any, the process's initial thread.
[[nodiscard]] bool isMainThread();

} // namespace veltra::MainQueue
