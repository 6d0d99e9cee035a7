#pragma once

#include "platform/base/OSStatus.h"

#include <optional>
#include <string>
#include <system_error>

namespace veltra {

/// The statuses that this system's services answer with. Others may come from other services;
/// there is no text for them.
enum CodeSigningStatus : OSStatus {
    errSecSuccess = 0,
    errSecCSInvalidRequest = -1001,
    errSecCSNoSuchCode = -1002,
    errSecCSCodeDeleted = -1003,
    errSecCSCodeUnreadable = -1004,
    errSecCSNoStaticCode = -1005,
    errSecCSBundleMalformed = -1006,
    errSecCSCodeTooLarge = -1007,
    errSecCSUnsigned = -1008,
    errSecCSSignatureMalformed = -1009,
    errSecCSSignatureUnsupported = -1010,
    errSecCSSignatureFailed = -1011,
    errSecCSCertificatesInvalid = -1012,
    errSecCSCertificatesUnfit = -1013,
    errSecCSNestedCodeInvalid = -1014,
};

/// One clear sentence about a status of ours, without a full stop; nothing for success and for a
/// status that is not ours.
[[nodiscard]] std::optional<std::string> codeSigningText(OSStatus status);

/// A status as the code of an Error, whose message ends with the status's text.
[[nodiscard]] std::error_code codeSigningError(OSStatus status);

} // namespace veltra
