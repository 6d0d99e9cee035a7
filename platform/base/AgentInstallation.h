#pragma once

#include <string>

namespace veltra {

/// Where the management agent is installed on this machine.
///
/// The defaults are the agent's fixed paths, and the program uses no others; tests set the fields
/// to other folders. A value; may be copied between threads.
struct AgentInstallation {
    /// The folder that the agent writes its logs to, with a trailing slash.
    std::string logFolder = "/var/Veltra/agent/logs/";
    /// The agent's service program.
    std::string service = "/Library/Veltra/agent/bin/vxsvc";
    /// The agent's command-line tool; it must be run as root.
    std::string commandLineTool = "/Library/Veltra/agent/bin/trolex";
};

} // namespace veltra
