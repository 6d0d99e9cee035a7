#include "platform/rights/SystemServiceManagement.h"

#include "platform/rights/AuthorizationText.h"
#include "platform/rights/PolkitAuthorization.h"

#include <system_error>

namespace veltra {

namespace {

constexpr const char* helper = "com.veltra.agentMonitor.helper";
constexpr const char* action = "install";

ServiceManagement::Outcome refusal(std::error_code code, const std::string& subject)
{
    return {.isDone = false, .error = Error{code, action, subject}};
}

// The tool's message ends with a line break.
std::string described(const AdminTool::Ending& ending)
{
    std::string text = std::string{helper} + " (exit status " + std::to_string(ending.status) +
                       ": " + ending.message;
    text.erase(text.find_last_not_of(": \n") + 1);
    return text + ")";
}

} // namespace

ServiceManagement::Outcome
SystemServiceManagement::SMJobBless(const std::string& domain, const std::string& executableLabel,
                                    const AuthorizationRef& authorization)
{
    if (domain != kSMDomainSystemLaunchd || executableLabel != helper)
        return refusal(std::make_error_code(std::errc::not_supported),
                       executableLabel + " in " + domain);
    const OSStatus status = authorizations_.AuthorizationCopyRights(
        authorization, {{kSMRightBlessPrivilegedHelper}}, nullptr, kAuthorizationFlagDefaults);
    if (status != errAuthorizationSuccess)
        return refusal(authorizationError(status), executableLabel);

    const auto ending = tool_.run(AdminTool::Verb::bless);
    if (!ending)
        return {.isDone = false, .error = ending.error()};
    if (ending.value().status != AdminTool::success)
        return refusal(std::make_error_code(std::errc::io_error), described(ending.value()));
    return {.isDone = true};
}

ServiceManagement& systemServiceManagement()
{
    static SystemServiceManagement management{systemAuthorization(), AdminTool::besideProgram()};
    return management;
}

} // namespace veltra
