#pragma once

#include "platform/base/Error.h"

#include <string>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// A program to start, and what it is given.
struct ChildProcess {
    std::string program;                  ///< its path
    std::vector<std::string> arguments;   ///< without the program's name
    std::vector<std::string> environment; ///< the complete environment, as "NAME=value"
    int standardInput = -1;               ///< -1 for /dev/null
    int standardOutput = -1;
    int standardError = -1;
    std::string folder = {}; ///< the one that it starts in; empty for ours
    /// Whether it leads a process group of its own, so that it can be ended with all its children.
    bool leadsGroup = false;
};

/// Starts a program, with no signal blocked or ignored, with none of our other descriptors, and
/// with the limit of descriptors that we had ourselves at first. The caller must wait for its end.
///
/// Fails if the program cannot be executed. Any thread.
[[nodiscard]] Result<pid_t> startChild(const ChildProcess& child);

/// The environment of this process.
[[nodiscard]] std::vector<std::string> ownEnvironment();

} // namespace veltra
