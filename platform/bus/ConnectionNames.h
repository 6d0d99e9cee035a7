#pragma once

#include <algorithm>
#include <string>

namespace veltra::connections {

/// The connection layer's own interface, on the service's root object: lets clients prove which
/// process they are, and opens and closes connections. See docs/protocol.md.
inline constexpr const char* connectionsInterface = "com.veltra.agentMonitor.Connections";

inline constexpr const char* busName = "org.freedesktop.DBus";
inline constexpr const char* busPath = "/org/freedesktop/DBus";

/// The caller is refused. The message gives the reason if the connection layer found it.
inline constexpr const char* refusedError = "com.veltra.agentMonitor.Error.Refused";
/// The caller has not proved to this instance of the service which process it is.
inline constexpr const char* unprovedError = "com.veltra.agentMonitor.Error.Unproved";
/// The request could not be carried out.
inline constexpr const char* failedError = "com.veltra.agentMonitor.Error.Failed";
/// There is no object at this path, so nothing was done.
inline constexpr const char* unknownObjectError = "org.freedesktop.DBus.Error.UnknownObject";

/// The rest of the rule for the signals of the bus that a service has another owner or none: each
/// carries the service's name, its previous owner and the new one.
inline std::string ruleForOwnersOf(const std::string& service)
{
    return std::string{"interface='"} + busName + "',member='NameOwnerChanged',arg0='" + service +
           "'";
}

/// The path of a service's root object: its name with slashes instead of dots.
inline std::string rootPath(const std::string& serviceName)
{
    std::string path = "/" + serviceName;
    std::ranges::replace(path, '.', '/');
    return path;
}

} // namespace veltra::connections
