#pragma once

#include <QString>

#include <optional>

namespace veltra {

/// What the agent's command-line tool reports about the agent.
struct AgentInformation {
    /// How the agent is managed; 0 if the tool does not report it as a number.
    long long mode = 0;
    QString server;  ///< the management server that was last used; null if not reported
    QString version; ///< the agent's version; null if not reported

    /// Whether the agent has a management server at all.
    [[nodiscard]] bool hasServer() const noexcept { return mode == 1 || mode == 2; }
};

/// Reads lines of the form KEY: VALUE. If a value itself contains ": ", only the part before that
/// is used. A repeated key replaces the earlier one. Empty if no line has this form.
[[nodiscard]] std::optional<AgentInformation> parseAgentInformation(const QString& output);

} // namespace veltra
