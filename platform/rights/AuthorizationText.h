#pragma once

#include "platform/base/OSStatus.h"

#include <optional>
#include <string>
#include <system_error>

namespace veltra {

/// One clear sentence about a status of the authorization services, without a full stop; nothing
/// for a status that is not theirs.
[[nodiscard]] std::optional<std::string> authorizationText(OSStatus status);

/// A status as the code of an Error, whose message ends with the status's text.
[[nodiscard]] std::error_code authorizationError(OSStatus status);

} // namespace veltra
