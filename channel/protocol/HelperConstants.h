#pragma once

#include <cstdint>

namespace veltra {

/// What both sides of the helper's connection need to know about it.
struct HelperConstants {
    /// The helper's name on the bus, its bundle identifier and the name of its file.
    static constexpr const char* machServiceName = "com.veltra.agentMonitor.helper";
};

/// As an exit status: the authorization failed. Not used by the program itself; part of the
/// interface.
inline constexpr std::int32_t kAuthorizationFailedExitCode = 503340;

} // namespace veltra
