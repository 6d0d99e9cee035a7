#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventLoop.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veltra {

/// A program to be run, and who is told of what it does.
struct Task {
    std::string launchPath;
    std::vector<std::string> arguments;   ///< without the program's name in front
    std::vector<std::string> environment; ///< the whole of it, as "NAME=value"
    /// Gets what one read of the standard output, or of the standard error, returned: a piece of
    /// any length, cut anywhere, and nothing at all once, when the last writer has closed it.
    std::function<void(std::string_view)> standardOutput;
    std::function<void(std::string_view)> standardError;
    /// Gets the exit status, or the number of the signal that ended the program. Called once;
    /// output may still come after it.
    std::function<void(int)> terminationHandler;
    /// After this the program is asked to terminate, if it has not and lets itself be asked: one
    /// that has become another user does not. For launch() alone.
    std::optional<std::chrono::milliseconds> timeLimit = {};
};

/// Starts `task`'s program without a shell, in the root folder, with /dev/null as standard input,
/// no signal blocked or ignored, and no other descriptor of ours.
///
/// Called on the thread of `loop`, as the handlers are, and never before this returns. Output is
/// read only while all that was given to the loop's source is sent, so that a program that prints
/// faster than somebody listens is held up instead of being kept in memory. The program lives on
/// if the loop goes. Fails when it cannot be started; see posix_spawn(3).
[[nodiscard]] Result<> launch(EventLoop& loop, Task task);

} // namespace veltra
