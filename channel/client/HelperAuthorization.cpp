#include "channel/client/HelperAuthorization.h"

#include "channel/client/HelperAuthorizationError.h"
#include "platform/log/SystemLog.h"
#include "platform/rights/PolkitAuthorization.h"

#include <algorithm>
#include <utility>

namespace veltra {

namespace {

void check(OSStatus status, const AuthorizationServices& services)
{
    throwUnlessSuccess<HelperAuthorizationError>(status, services);
}

template <typename T>
T copied(SecOutcome<T> outcome, const AuthorizationServices& services)
{
    check(outcome.status, services);
    return std::move(outcome.object);
}

std::optional<std::int64_t> versionOf(const RightDefinition& rule)
{
    const auto version = rule.find(kAuthorizationRightKeyVersion);
    if (version == rule.end() || !version->is_number_integer())
        return std::nullopt;
    return version->get<std::int64_t>();
}

bool isUpdateOfPredefinedRequired(const RightDefinition& current,
                                  const std::optional<std::string>& constant)
{
    const auto stored = current.find(kAuthorizationRightKeyRule);
    return stored == current.end() || !constant || *stored != RightDefinition::array({*constant});
}

bool isUpdateOfCustomRequired(const RightDefinition& current, const RightDefinition& custom)
{
    const auto stored = versionOf(current);
    const auto wanted = versionOf(custom);
    return !stored || !wanted || *stored != *wanted;
}

OSStatus update(const HelperAuthorizationRight& right, const AuthorizationRef& reference,
                AuthorizationServices& services)
{
    const auto stored = services.AuthorizationRightGet(right.name);
    if (stored.status != errAuthorizationDenied &&
        !HelperAuthorization::authorizationRuleUpdateRequired(stored.object, right))
        return stored.status;
    return services.AuthorizationRightSet(reference, right.name, right.rule(), right.description);
}

} // namespace

const std::vector<HelperAuthorizationRight>& HelperAuthorization::authorizationRights()
{
    return helperAuthorizationRights();
}

const HelperAuthorizationRight* HelperAuthorization::authorizationRight(const Selector& forCommand)
{
    const auto& rights = authorizationRights();
    const auto found = std::ranges::find(rights, forCommand, &HelperAuthorizationRight::command);
    return found == rights.end() ? nullptr : &*found;
}

void HelperAuthorization::authorizationRightsUpdateDatabase(AuthorizationServices& services)
{
    authorizationRightsUpdateDatabase(authorizationRights(), services);
}

void HelperAuthorization::authorizationRightsUpdateDatabase(
    const std::vector<HelperAuthorizationRight>& rights, AuthorizationServices& services)
{
    const AuthorizationRef reference = emptyAuthorizationRef(services);
    if (!reference)
        throw HelperAuthorizationError::message("Failed to get empty authorization ref");

    for (const HelperAuthorizationRight& right : rights)
        if (const OSStatus status = update(right, reference, services))
            SystemLog::log({"AuthorizationRightSet or Get failed with error: ",
                            textOfStatus(services.SecCopyErrorMessageString(status))});
}

bool HelperAuthorization::authorizationRuleUpdateRequired(
    const std::optional<RightDefinition>& current,
    const HelperAuthorizationRight& authorizationRight)
{
    if (!current)
        return true;
    // A rule that is not a map has no entries, and so no version.
    const RightDefinition rule = authorizationRight.rule();
    return rule.is_string()
               ? isUpdateOfPredefinedRequired(*current, authorizationRight.ruleConstant)
               : isUpdateOfCustomRequired(*current, rule);
}

AuthorizationRef HelperAuthorization::emptyAuthorizationRef(AuthorizationServices& services)
{
    return authorizationRef(nullptr, nullptr, kAuthorizationFlagDefaults, services);
}

AuthorizationRef HelperAuthorization::authorizationRef(const AuthorizationItemSet* rights,
                                                       const AuthorizationItemSet* environment,
                                                       AuthorizationFlags flags,
                                                       AuthorizationServices& services)
{
    return copied(services.AuthorizationCreate(rights, environment, flags), services);
}

AuthorizationRef HelperAuthorization::authorizationRef(const Data& fromExternalForm,
                                                       AuthorizationServices& services)
{
    AuthorizationExternalForm form{};
    const std::size_t size = std::min(fromExternalForm.size(), form.size());
    std::copy_n(fromExternalForm.begin(), size, form.begin());
    return copied(services.AuthorizationCreateFromExternalForm(form), services);
}

std::optional<AuthorizationExternalForm>
HelperAuthorization::emptyAuthorizationExternalForm(AuthorizationServices& services)
{
    const AuthorizationRef reference = emptyAuthorizationRef(services);
    if (!reference)
        return std::nullopt;
    return copied(services.AuthorizationMakeExternalForm(reference), services);
}

std::optional<HelperAuthorization::Data>
HelperAuthorization::emptyAuthorizationExternalFormData(AuthorizationServices& services)
{
    const auto form = emptyAuthorizationExternalForm(services);
    if (!form)
        return std::nullopt;
    return Data{form->begin(), form->end()};
}

void HelperAuthorization::verifyAuthorization(const std::optional<Data>& authData,
                                              const Selector& forCommand,
                                              AuthorizationServices& services)
{
    if (!authData || authData->size() != AuthorizationExternalForm{}.size())
        throw HelperAuthorizationError::message("Invalid Authorization External Form Data");
    const AuthorizationRef reference = authorizationRef(*authData, services);
    if (!reference)
        throw HelperAuthorizationError::message(
            "Failed to convert the Authorization External Form to an Authorization Reference");
    const HelperAuthorizationRight* const right = authorizationRight(forCommand);
    if (!right)
        throw HelperAuthorizationError::message(
            "Failed to get the correct authorization right for command: " + forCommand);
    verifyAuthorization(reference, *right, services);
}

void HelperAuthorization::verifyAuthorization(
    const AuthorizationRef& reference, const HelperAuthorizationRight& forAuthenticationRight,
    AuthorizationServices& services)
{
    // A C string would end at the NUL and name a different right.
    if (forAuthenticationRight.name.find('\0') != std::string::npos)
        throw HelperAuthorizationError::message("Failed to convert authorization name to cString");
    check(services.AuthorizationCopyRights(reference, {{forAuthenticationRight.name}}, nullptr,
                                           kAuthorizationFlagExtendRights |
                                               kAuthorizationFlagInteractionAllowed),
          services);
}

} // namespace veltra
