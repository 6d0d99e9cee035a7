#include "platform/rights/fakes/FakeAuthorization.h"

#include "platform/rights/AuthorizationText.h"

#include <random>
#include <utility>

namespace veltra {

namespace {

class FakeReference : public Authorization {
  public:
    FakeReference(const FakeAuthorization* maker, std::weak_ptr<FakeAuthorization::Process> process)
        : maker_{maker}, process_{std::move(process)}
    {
    }
    [[nodiscard]] const FakeAuthorization* maker() const noexcept { return maker_; }
    [[nodiscard]] std::shared_ptr<FakeAuthorization::Process> process() const
    {
        return process_.lock();
    }

  private:
    const FakeAuthorization* maker_;
    std::weak_ptr<FakeAuthorization::Process> process_;
};

std::string described(const AuthorizationItemSet* rights, AuthorizationFlags flags)
{
    std::string text = std::to_string(flags);
    if (rights)
        for (const AuthorizationItem& right : *rights)
            text += " " + right.name;
    return text;
}

AuthorizationExternalForm randomForm()
{
    AuthorizationExternalForm form{};
    std::random_device random;
    for (auto& byte : form)
        byte = static_cast<std::uint8_t>(random());
    return form;
}

} // namespace

FakeAuthorization::FakeAuthorization(std::shared_ptr<System> system, uid_t user)
    : system_{std::move(system)}, process_{std::make_shared<Process>(Process{user, {}})}
{
}

SecOutcome<AuthorizationRef>
FakeAuthorization::AuthorizationCreate(const AuthorizationItemSet* rights,
                                       const AuthorizationItemSet* /*environment*/,
                                       AuthorizationFlags flags)
{
    OSStatus status = begin("AuthorizationCreate", described(rights, flags));
    if (status == errAuthorizationSuccess && rights && (flags & kAuthorizationFlagPreAuthorize))
        status = gain(*process_, *rights, (flags & kAuthorizationFlagInteractionAllowed) != 0);
    if (status != errAuthorizationSuccess || empty.contains("AuthorizationCreate"))
        return {status, nullptr};
    return {status, std::make_shared<FakeReference>(this, process_)};
}

SecOutcome<std::optional<AuthorizationExternalForm>>
FakeAuthorization::AuthorizationMakeExternalForm(const AuthorizationRef& authorization)
{
    OSStatus status = begin("AuthorizationMakeExternalForm", {});
    if (status == errAuthorizationSuccess && processOf(authorization) != process_)
        status = errAuthorizationInvalidRef;
    if (status != errAuthorizationSuccess || empty.contains("AuthorizationMakeExternalForm"))
        return {status, std::nullopt};
    const AuthorizationExternalForm form = randomForm();
    system_->forms[form] = process_;
    return {status, form};
}

SecOutcome<AuthorizationRef>
FakeAuthorization::AuthorizationCreateFromExternalForm(const AuthorizationExternalForm& form)
{
    const OSStatus status = begin("AuthorizationCreateFromExternalForm", {});
    if (status != errAuthorizationSuccess || empty.contains("AuthorizationCreateFromExternalForm"))
        return {status, nullptr};
    const auto found = system_->forms.find(form);
    const auto process = found == system_->forms.end() ? nullptr : found->second.lock();
    if (!process || (process_->user != 0 && process_->user != process->user))
        return {errAuthorizationInvalidRef, nullptr};
    return {status, std::make_shared<FakeReference>(this, process)};
}

OSStatus FakeAuthorization::AuthorizationCopyRights(const AuthorizationRef& authorization,
                                                    const AuthorizationItemSet& rights,
                                                    const AuthorizationItemSet* /*environment*/,
                                                    AuthorizationFlags flags)
{
    constexpr AuthorizationFlags gaining =
        kAuthorizationFlagExtendRights | kAuthorizationFlagInteractionAllowed;
    const OSStatus status = begin("AuthorizationCopyRights", described(&rights, flags));
    if (status != errAuthorizationSuccess)
        return status;
    const auto process = processOf(authorization);
    return process ? gain(*process, rights, (flags & gaining) == gaining)
                   : OSStatus{errAuthorizationInvalidRef};
}

SecOutcome<std::optional<RightDefinition>>
FakeAuthorization::AuthorizationRightGet(const std::string& name)
{
    const OSStatus status = begin("AuthorizationRightGet", name);
    if (status != errAuthorizationSuccess || empty.contains("AuthorizationRightGet"))
        return {status, std::nullopt};
    const auto found = rights().find(name);
    if (found == rights().end())
        return {errAuthorizationDenied, std::nullopt};
    return {status, std::optional<RightDefinition>{std::in_place, found->second.definition}};
}

OSStatus FakeAuthorization::AuthorizationRightSet(const AuthorizationRef& authorization,
                                                  const std::string& name,
                                                  const RightDefinition& definition,
                                                  const std::string& description)
{
    OSStatus status =
        begin("AuthorizationRightSet", name + " " + definition.dump() + " " + description);
    if (status == errAuthorizationSuccess && !processOf(authorization))
        status = errAuthorizationInvalidRef;
    if (status == errAuthorizationSuccess && rights().contains(name) && process_->user != 0)
        status = ask();
    if (status == errAuthorizationSuccess)
        rights()[name] = {definition, description};
    return status;
}

std::optional<std::string> FakeAuthorization::SecCopyErrorMessageString(OSStatus status) const
{
    const auto found = texts.find(status);
    return found == texts.end() ? authorizationText(status) : found->second;
}

OSStatus FakeAuthorization::begin(const std::string& call, const std::string& details)
{
    calls_.push_back(details.empty() ? call : call + " " + details);
    const auto failure = failing.find(call);
    return failure == failing.end() ? errAuthorizationSuccess : failure->second;
}

OSStatus FakeAuthorization::ask()
{
    if (answers.empty())
        return errAuthorizationInteractionNotAllowed;
    const OSStatus answer = answers.front();
    answers.pop_front();
    return answer;
}

OSStatus FakeAuthorization::gain(Process& process, const AuthorizationItemSet& rights, bool mayAsk)
{
    for (const AuthorizationItem& right : rights) {
        if (process.user == 0 || process.gained.contains(right.name))
            continue;
        const OSStatus status = mayAsk ? ask() : OSStatus{errAuthorizationInteractionNotAllowed};
        if (status != errAuthorizationSuccess)
            return status;
        process.gained.insert(right.name);
    }
    return errAuthorizationSuccess;
}

std::shared_ptr<FakeAuthorization::Process>
FakeAuthorization::processOf(const AuthorizationRef& authorization) const
{
    const auto* const reference = dynamic_cast<const FakeReference*>(authorization.get());
    return reference && reference->maker() == this ? reference->process() : nullptr;
}

} // namespace veltra
