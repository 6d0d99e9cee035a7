#include "platform/rights/PolkitAuthorization.h"

#include "platform/rights/AuthorizationText.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <unistd.h>

namespace veltra {

namespace {

using Interaction = PolkitAuthority::Interaction;

// After polkit was restarted, agents need a moment to register again.
constexpr auto patienceForAgents = std::chrono::milliseconds{500};

/// Represents a process; this one if none is given.
class ProcessAuthorization : public Authorization {
  public:
    explicit ProcessAuthorization(std::optional<RegisteredProcess> process)
        : process_{std::move(process)}
    {
    }
    [[nodiscard]] const std::optional<RegisteredProcess>& process() const noexcept
    {
        return process_;
    }

  private:
    std::optional<RegisteredProcess> process_;
};

const ProcessAuthorization* ours(const AuthorizationRef& authorization)
{
    return dynamic_cast<const ProcessAuthorization*>(authorization.get());
}

Interaction interpolkitActionId(AuthorizationFlags flags)
{
    return (flags & kAuthorizationFlagInteractionAllowed) != 0 ? Interaction::allowed
                                                               : Interaction::none;
}

OSStatus statusOf(const Result<PolkitAnswer>& answer)
{
    if (!answer)
        return errAuthorizationInternal;
    switch (answer.value()) {
    case PolkitAnswer::authorized:
        return errAuthorizationSuccess;
    case PolkitAnswer::denied:
        return errAuthorizationDenied;
    case PolkitAnswer::dismissed:
        return errAuthorizationCanceled;
    case PolkitAnswer::needsInteraction:
        return errAuthorizationInteractionNotAllowed;
    }
    return errAuthorizationInternal;
}

OSStatus statusOf(const AdminTool::Ending& ending)
{
    switch (ending.status) {
    case AdminTool::success:
    case AdminTool::alreadyExists:
        return errAuthorizationSuccess;
    case AdminTool::dismissed:
        return errAuthorizationCanceled;
    case AdminTool::notAuthorized:
        return errAuthorizationDenied;
    default:
        return errAuthorizationInternal;
    }
}

// The check without interaction shows soon whether polkit is running at all.
OSStatus gainAction(PolkitAuthority& polkit, const PolkitAuthority::Subject& subject,
                    const std::string& action, Interaction interaction)
{
    OSStatus status = statusOf(polkit.check(subject, action, Interaction::none));
    if (status != errAuthorizationInteractionNotAllowed || interaction == Interaction::none)
        return status;
    status = statusOf(polkit.check(subject, action, interaction));
    if (status != errAuthorizationInteractionNotAllowed)
        return status;
    std::this_thread::sleep_for(patienceForAgents);
    return statusOf(polkit.check(subject, action, interaction));
}

OSStatus gainAll(const std::optional<RegisteredProcess>& process,
                 const AuthorizationItemSet& rights, Interaction interaction)
{
    // polkit permits root everything, too, but it need not be running for this.
    if (!process && ::geteuid() == 0)
        return errAuthorizationSuccess;
    auto polkit = PolkitAuthority::open();
    if (!polkit)
        return errAuthorizationInternal;
    const auto subject = process ? PolkitAuthority::subject(*process) : polkit.value().self();
    for (const AuthorizationItem& right : rights)
        if (const OSStatus status =
                gainAction(polkit.value(), subject, polkitActionId(right.name), interaction))
            return status;
    return errAuthorizationSuccess;
}

Result<std::optional<PolkitAction>> findRight(const std::string& name)
{
    auto polkit = PolkitAuthority::open();
    if (!polkit)
        return polkit.error();
    return polkit.value().findAction(rightNameAnnotation, name);
}

RightDefinition definitionOf(const PolkitAction& action)
{
    const auto* const text = action.annotation(rightDefinitionAnnotation);
    if (!text)
        return nullptr;
    RightDefinition definition = RightDefinition::parse(*text, nullptr, false);
    return definition.is_discarded() ? RightDefinition(nullptr) : definition;
}

} // namespace

SecOutcome<AuthorizationRef>
PolkitAuthorization::AuthorizationCreate(const AuthorizationItemSet* rights,
                                         const AuthorizationItemSet* /*environment*/,
                                         AuthorizationFlags flags)
{
    if (rights && (flags & kAuthorizationFlagPreAuthorize) != 0)
        if (const OSStatus status = gain(std::nullopt, *rights, interpolkitActionId(flags)))
            return {status, nullptr};
    return {errAuthorizationSuccess, std::make_shared<ProcessAuthorization>(std::nullopt)};
}

SecOutcome<std::optional<AuthorizationExternalForm>>
PolkitAuthorization::AuthorizationMakeExternalForm(const AuthorizationRef& authorization)
{
    const auto* const own = ours(authorization);
    if (!own || own->process())
        return {errAuthorizationInvalidRef, std::nullopt};

    const auto form = forms_.add();
    if (!form)
        return {errAuthorizationInternal, std::nullopt};
    return {errAuthorizationSuccess, form.value()};
}

SecOutcome<AuthorizationRef>
PolkitAuthorization::AuthorizationCreateFromExternalForm(const AuthorizationExternalForm& form)
{
    auto process = ExternalFormRegistry::find(form);
    if (!process)
        return {errAuthorizationInvalidRef, nullptr};
    return {errAuthorizationSuccess, std::make_shared<ProcessAuthorization>(std::move(process))};
}

OSStatus PolkitAuthorization::AuthorizationCopyRights(const AuthorizationRef& authorization,
                                                      const AuthorizationItemSet& rights,
                                                      const AuthorizationItemSet* /*environment*/,
                                                      AuthorizationFlags flags)
{
    const auto* const known = ours(authorization);
    if (!known)
        return errAuthorizationInvalidRef;
    const bool mayGain = (flags & kAuthorizationFlagExtendRights) != 0;
    const OSStatus status =
        gain(known->process(), rights, mayGain ? interpolkitActionId(flags) : Interaction::none);
    // polkit's answer may be about another process that was given the same number.
    if (known->process() && !known->process()->isAlive())
        return errAuthorizationInvalidRef;
    return status;
}

OSStatus PolkitAuthorization::gain(const std::optional<RegisteredProcess>& process,
                                   const AuthorizationItemSet& rights, Interaction interaction)
{
    std::unique_lock prompt{prompt_, std::defer_lock};
    if (interaction == Interaction::allowed)
        prompt.lock();
    return gainAll(process, rights, interaction);
}

SecOutcome<std::optional<RightDefinition>>
PolkitAuthorization::AuthorizationRightGet(const std::string& name)
{
    const auto action = findRight(name);
    if (!action)
        return {errAuthorizationInternal, std::nullopt};
    if (!action.value())
        return {errAuthorizationDenied, std::nullopt};
    return {errAuthorizationSuccess,
            std::optional<RightDefinition>{std::in_place, definitionOf(*action.value())}};
}

OSStatus PolkitAuthorization::AuthorizationRightSet(const AuthorizationRef& authorization,
                                                    const std::string& name,
                                                    const RightDefinition& definition,
                                                    const std::string& description)
{
    if (!ours(authorization))
        return errAuthorizationInvalidRef;
    const auto before = findRight(name);
    if (!before)
        return errAuthorizationInternal;
    const OSStatus status =
        write(before.value() ? AdminTool::Verb::changeRight : AdminTool::Verb::addRight);
    if (status != errAuthorizationSuccess)
        return status;

    // The tool writes what is compiled into it, which may differ from what was requested here.
    const auto after = findRight(name);
    const bool isStored = after && after.value() && definitionOf(*after.value()) == definition &&
                          after.value()->message == description;
    return isStored ? errAuthorizationSuccess : errAuthorizationInternal;
}

// The tool's right is gained before the tool is started, so that waiting for the user's answer does
// not use up the tool's time limit.
OSStatus PolkitAuthorization::write(AdminTool::Verb verb)
{
    const std::lock_guard prompt{prompt_};
    const OSStatus status =
        gainAll(std::nullopt, {{AdminTool::action(verb)}}, Interaction::allowed);
    if (status != errAuthorizationSuccess)
        return status;
    const auto ending = tool_.run(verb);
    return ending ? statusOf(ending.value()) : errAuthorizationInternal;
}

std::optional<std::string> PolkitAuthorization::SecCopyErrorMessageString(OSStatus status) const
{
    return authorizationText(status);
}

AuthorizationServices& systemAuthorization()
{
    static PolkitAuthorization services{AdminTool::besideProgram()};
    return services;
}

} // namespace veltra
