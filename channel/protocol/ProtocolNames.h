#pragma once

namespace veltra::protocol {

// The names of the two protocols' methods on the bus; see HelperProtocol.xml and AppProtocol.xml.

inline constexpr const char* helperInterface = "com.veltra.agentMonitor.HelperProtocol";
inline constexpr const char* getVersion = "getVersionWithCompletion";
inline constexpr const char* runCommand = "runCommandWithPath_completion";
inline constexpr const char* runCommandWithData = "runCommandWithPath_authData_completion";

inline constexpr const char* appInterface = "com.veltra.agentMonitor.AppProtocol";
inline constexpr const char* logWithStdOut = "logWithStdOut";
inline constexpr const char* logWithStdErr = "logWithStdErr";

} // namespace veltra::protocol
