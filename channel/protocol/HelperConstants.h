#pragma once

#include <cstdint>

namespace veltra {

/// What both sides of the helper's connection know of it.
struct HelperConstants {
    /// The name that the helper listens under, its bundle identifier and its file's name.
    static constexpr const char* machServiceName = "com.veltra.agentMonitor.helper";
};

/// As an exit status: the authorization failed. The helper never sends it of its own accord.
inline constexpr std::int32_t kAuthorizationFailedExitCode = 503340;

} // namespace veltra
