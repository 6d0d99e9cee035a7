#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace veltra {

/// What a call of a system service answered: 0 for success, else what went wrong.
using OSStatus = std::int32_t;

/// What a call brought: the object means something only when the status is success, and may be
/// empty even then.
template <typename T>
struct SecOutcome {
    OSStatus status = 0;
    T object{};
};

/// A status's text as thrown errors tell it: as an optional prints, the wrapper included.
[[nodiscard]] inline std::string textOfStatus(const std::optional<std::string>& text)
{
    return text ? "Optional(" + *text + ")" : "nil";
}

/// Throws `ThrownError::message()` with the text that the services know for the status, unless it
/// is success.
template <typename ThrownError, typename Services>
void throwUnlessSuccess(OSStatus status, const Services& services)
{
    if (status != 0)
        throw ThrownError::message(textOfStatus(services.SecCopyErrorMessageString(status)));
}

} // namespace veltra
