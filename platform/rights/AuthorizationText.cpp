#include "platform/rights/AuthorizationText.h"

#include "platform/base/TextCategory.h"
#include "platform/rights/AuthorizationServices.h"

namespace veltra {

namespace {

const char* textOf(OSStatus status)
{
    switch (status) {
    case errAuthorizationSuccess:
        return "The authorization services did what they were asked for";
    case errAuthorizationInvalidRef:
        return "The authorization is not valid or is valid no longer";
    case errAuthorizationDenied:
        return "The authorization was denied";
    case errAuthorizationCanceled:
        return "The authorization was cancelled by the user";
    case errAuthorizationInteractionNotAllowed:
        return "The user would have to be asked for credentials and cannot be";
    case errAuthorizationInternal:
        return "The authorization services failed or cannot be reached";
    default:
        return nullptr;
    }
}

} // namespace

std::optional<std::string> authorizationText(OSStatus status)
{
    const char* text = textOf(status);
    if (!text)
        return std::nullopt;

    return text;
}

std::error_code authorizationError(OSStatus status)
{
    static const TextCategory category{"authorization", [](int value) {
                                           return authorizationText(value).value_or(
                                               "Authorization status " + std::to_string(value));
                                       }};
    return {status, category};
}

} // namespace veltra
