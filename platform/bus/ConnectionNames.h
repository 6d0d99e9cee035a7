#pragma once

#include <algorithm>
#include <string>

namespace veltra::connections {

// The connection layer's own two interfaces; see docs/protocol.md.

/// On the service's root object: opens and closes connections.
inline constexpr const char* connectionsInterface = "com.veltra.agentMonitor.Connections";
/// On every client: lets the service find out which process it talks to.
inline constexpr const char* peerInterface = "com.veltra.agentMonitor.Peer";
inline constexpr const char* peerPath = "/com/veltra/agentMonitor/peer";

inline constexpr const char* busName = "org.freedesktop.DBus";
inline constexpr const char* busPath = "/org/freedesktop/DBus";

/// The caller is refused. The message gives the reason if the connection layer found it.
inline constexpr const char* refusedError = "com.veltra.agentMonitor.Error.Refused";
/// The request could not be carried out.
inline constexpr const char* failedError = "com.veltra.agentMonitor.Error.Failed";
/// There is no object at this path, so nothing was done.
inline constexpr const char* unknownObjectError = "org.freedesktop.DBus.Error.UnknownObject";

/// The path of a service's root object: its name with slashes instead of dots.
inline std::string rootPath(const std::string& serviceName)
{
    std::string path = "/" + serviceName;
    std::ranges::replace(path, '.', '/');
    return path;
}

} // namespace veltra::connections
