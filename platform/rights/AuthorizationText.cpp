#include "platform/rights/AuthorizationText.h"

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

class AuthorizationCategory : public std::error_category {
  public:
    [[nodiscard]] const char* name() const noexcept override { return "authorization"; }

    [[nodiscard]] std::string message(int status) const override
    {
        return authorizationText(status).value_or("Authorization status " + std::to_string(status));
    }
};

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
    static const AuthorizationCategory category;
    return {status, category};
}

} // namespace veltra
