#pragma once

#include <chrono>
#include <span>
#include <string_view>

namespace veltra {

/// One step of the stand-in for the agent's command-line tool.
struct ToolStep {
    enum class Kind {
        Output, ///< prints the text, which includes any line feeds
        Error,  ///< the same on standard error
        Log,    ///< has the service log the text; fails if the service is not running
    };

    std::chrono::milliseconds pause{}; ///< before it
    Kind kind = Kind::Output;
    std::string_view text; ///< Lives as long as the program.
};

/// The steps of the tool when it is run with `option`, in order; none for an unknown option.
///
/// "-i" prints its information as a single piece and does not need the service. All others contact
/// the service before they print anything.
[[nodiscard]] std::span<const ToolStep> toolScript(std::string_view option);

} // namespace veltra
