#pragma once

#include "platform/base/OSStatus.h"

#include <optional>
#include <string>
#include <system_error>

namespace veltra {

/// A clear sentence about a status of the authorization services, without a full stop; empty for
/// any other status.
[[nodiscard]] std::optional<std::string> authorizationText(OSStatus status);

/// Makes a status the code of an Error; the error's message then ends with the status's text.
[[nodiscard]] std::error_code authorizationError(OSStatus status);

} // namespace veltra
