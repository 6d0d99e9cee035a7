#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace veltra {

/// The result of a call of a system service: 0 for success, otherwise an error.
using OSStatus = std::int32_t;

/// The result of a call that also returns an object. The object is meaningful only if the status is
/// success, and may be empty even then.
template <typename T>
struct SecOutcome {
    OSStatus status = 0;
    T object{};
};

/// A status's text as used in thrown errors: printed as an optional, including the wrapper.
[[nodiscard]] inline std::string textOfStatus(const std::optional<std::string>& text)
{
    return text ? "Optional(" + *text + ")" : "nil";
}

/// Throws `ThrownError::message()` with the services' text for the status, unless it is success.
template <typename ThrownError, typename Services>
void throwUnlessSuccess(OSStatus status, const Services& services)
{
    if (status != 0)
        throw ThrownError::message(textOfStatus(services.SecCopyErrorMessageString(status)));
}

} // namespace veltra
