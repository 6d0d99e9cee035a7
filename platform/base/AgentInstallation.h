#pragma once

#include <string>

namespace veltra {

/// Where the management agent is installed on this machine.
///
/// The defaults are the agent's fixed places and the program never uses others; tests point the
/// fields at folders of their own. A value; may be copied between threads.
struct AgentInstallation {
    /// The folder that the agent writes its logs to, with its trailing slash.
    std::string logFolder = "/var/Veltra/agent/logs/";
    /// The agent's service program.
    std::string service = "/Library/Veltra/agent/bin/vxsvc";
    /// The agent's command-line tool; it must be run as root.
    std::string commandLineTool = "/Library/Veltra/agent/bin/trolex";
};

} // namespace veltra
