#include "platform/signing/CodeSigningStatus.h"

#include "platform/base/TextCategory.h"

namespace veltra {

namespace {

const char* textOf(OSStatus status)
{
    switch (status) {
    case errSecCSInvalidRequest:
        return "The code-signing services do not know what they were asked for";
    case errSecCSNoSuchCode:
        return "No program runs under this process identifier";
    case errSecCSCodeDeleted:
        return "The executable of the running program was deleted or replaced";
    case errSecCSCodeUnreadable:
        return "The executable cannot be read";
    case errSecCSNoStaticCode:
        return "There is neither an executable nor a bundle at this path";
    case errSecCSBundleMalformed:
        return "The bundle does not name an executable that it holds";
    case errSecCSCodeTooLarge:
        return "The code is larger than what is looked at";
    case errSecCSUnsigned:
        return "The code is not signed at all";
    case errSecCSSignatureMalformed:
        return "The signature is malformed";
    case errSecCSSignatureUnsupported:
        return "The signature is of a kind that is not accepted";
    case errSecCSSignatureFailed:
        return "The signature does not fit the code";
    case errSecCSCertificatesInvalid:
        return "The certificates of the signature are not one chain from the signer to its anchor";
    case errSecCSCertificatesUnfit:
        return "The signer's certificate is not meant for signing code";
    case errSecCSNestedCodeInvalid:
        return "Code nested in the bundle has no valid signature";
    default:
        return nullptr;
    }
}

} // namespace

std::optional<std::string> codeSigningText(OSStatus status)
{
    const char* text = textOf(status);
    if (!text)
        return std::nullopt;

    return text;
}

std::error_code codeSigningError(OSStatus status)
{
    static const TextCategory category{"code signing", [](int value) {
                                           return codeSigningText(value).value_or(
                                               "Code-signing status " + std::to_string(value));
                                       }};
    return {status, category};
}

} // namespace veltra
