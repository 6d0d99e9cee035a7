#pragma once

#include <chrono>
#include <span>
#include <string_view>

namespace veltra {

/// One thing that the stand-in for the agent's command-line tool does.
struct ToolStep {
    enum class Kind {
        Output, ///< prints the text, of which line feeds are a part
        Error,  ///< the same on standard error
        Log,    ///< has the service log the text, and fails when the service is not there
    };

    std::chrono::milliseconds pause{}; ///< before it
    Kind kind = Kind::Output;
    std::string_view text; ///< Lives as long as the program.
};

/// What the tool does when it is run with `option`, in order; nothing for one that it does not
/// know.
///
/// "-i" prints its information as a single piece and does without the service. All others ask the
/// service before they print anything.
[[nodiscard]] std::span<const ToolStep> toolScript(std::string_view option);

} // namespace veltra
