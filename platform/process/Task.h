#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventLoop.h"
#include "platform/process/ReadingGate.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veltra {

/// A program to run, and the handlers for its output and its end.
struct Task {
    std::string launchPath;
    std::vector<std::string> arguments;   ///< without the program's name
    std::vector<std::string> environment; ///< the complete environment, as "NAME=value"
    /// Receives the result of each read of standard output or standard error: a piece of at most
    /// OutputStream::mostInAPiece bytes, not cut within a UTF-8 character. Receives an empty piece
    /// once, when the last writer has closed the stream. See OutputStream for when it is read.
    std::function<void(std::string_view)> standardOutput;
    std::function<void(std::string_view)> standardError;
    /// Receives the exit status, or the number of the signal that ended the program. Called once;
    /// output may still come after it.
    std::function<void(int)> terminationHandler;
    /// After this time, a program that still runs is sent a signal to terminate, if we may signal
    /// it: we may not signal one that has become another user. For launch() only.
    std::optional<std::chrono::milliseconds> timeLimit = {};
    /// Decides whether output is read now; always, if null.
    std::shared_ptr<ReadingGate> gate = {};
};

/// Starts `task`'s program without a shell, in the root folder, with /dev/null as standard input,
/// with no signal blocked or ignored, and with none of our other descriptors.
///
/// Must be called on the thread of `loop`. The handlers are called there too, never before this
/// returns. The program keeps running if the loop is destroyed. Fails if the program cannot be
/// started.
[[nodiscard]] Result<> launch(EventLoop& loop, Task task);

} // namespace veltra
