#pragma once

#include <algorithm>
#include <string>

namespace veltra::connections {

// The connection layer's own two interfaces; see docs/protocol.md.

/// At the service's root object: opens and closes connections.
inline constexpr const char* connectionsInterface = "com.veltra.agentMonitor.Connections";
/// At every client: lets the service find out which process it talks to.
inline constexpr const char* peerInterface = "com.veltra.agentMonitor.Peer";
inline constexpr const char* peerPath = "/com/veltra/agentMonitor/peer";

inline constexpr const char* busName = "org.freedesktop.DBus";
inline constexpr const char* busPath = "/org/freedesktop/DBus";

/// The caller is not let in. The message says what the connection layer found, if it was that.
inline constexpr const char* refusedError = "com.veltra.agentMonitor.Error.Refused";
/// What was asked for could not be done.
inline constexpr const char* failedError = "com.veltra.agentMonitor.Error.Failed";
/// Nothing knows this path, so nothing was done.
inline constexpr const char* unknownObjectError = "org.freedesktop.DBus.Error.UnknownObject";

/// The path of a service's root object: its name with slashes.
inline std::string rootPath(const std::string& serviceName)
{
    std::string path = "/" + serviceName;
    std::ranges::replace(path, '.', '/');
    return path;
}

} // namespace veltra::connections
