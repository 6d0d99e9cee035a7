#pragma once

#include "platform/base/OSStatus.h"

#include <optional>
#include <string>
#include <system_error>

namespace veltra {

/// The statuses that this system's services return. Other services may return others, for which
/// there is no text.
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

/// A clear sentence about one of our statuses, without a full stop; empty for success and for any
/// other status.
[[nodiscard]] std::optional<std::string> codeSigningText(OSStatus status);

/// Makes a status the code of an Error; the error's message then ends with the status's text.
[[nodiscard]] std::error_code codeSigningError(OSStatus status);

} // namespace veltra
