#pragma once

#include <QString>

#include <optional>

namespace veltra {

/// What the agent's command-line tool tells of the agent.
struct AgentInformation {
    /// How the agent is managed; 0 when the tool does not tell, or not as a number.
    long long mode = 0;
    QString server;  ///< the management server that was last used; null when it is not told
    QString version; ///< the agent's; null when it is not told

    /// Whether the agent has a management server at all.
    [[nodiscard]] bool hasServer() const noexcept { return mode == 1 || mode == 2; }
};

/// Reads lines of a key, ": " and a value; of a value that holds ": " itself, the part before it.
/// A key that comes again replaces the earlier one. Nothing when no line is of that form.
[[nodiscard]] std::optional<AgentInformation> parseAgentInformation(const QString& output);

} // namespace veltra
