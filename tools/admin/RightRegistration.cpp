#include "tools/admin/RightRegistration.h"

#include "platform/BusConnection.h"
#include "tools/admin/InstalledFiles.h"
#include "tools/admin/RightsPolicy.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace veltra {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Identifier, description, message, vendor, its address, icon; what is allowed without a session,
// in an inactive and in an active one; annotations.
using Action =
    sdbus::Struct<std::string, std::string, std::string, std::string, std::string, std::string,
                  std::uint32_t, std::uint32_t, std::uint32_t, std::map<std::string, std::string>>;

std::vector<Action> actions(sdbus::IProxy& authority, Clock::duration patience)
{
    std::vector<Action> actions;
    try {
        authority.callMethod("EnumerateActions")
            .onInterface("org.freedesktop.PolicyKit1.Authority")
            .withTimeout(std::chrono::duration_cast<std::chrono::microseconds>(patience))
            .withArguments(std::string{})
            .storeResultsTo(actions);
    } catch (const sdbus::Error&) {
        return {}; // as good as not knowing them
    }
    return actions;
}

bool isFor(const Action& action, const HelperAuthorizationRight& right)
{
    const auto& annotations = action.get<9>();
    const auto name = annotations.find(rightNameAnnotation);
    const auto definition = annotations.find(rightDefinitionAnnotation);
    return name != annotations.end() && name->second == right.name &&
           definition != annotations.end() && definition->second == definitionInPolicy(right) &&
           action.get<2>() == right.description;
}

bool areKnown(const std::vector<Action>& actions)
{
    return std::ranges::all_of(helperAuthorizationRights(), [&](const auto& right) {
        return std::ranges::any_of(actions,
                                   [&](const Action& action) { return isFor(action, right); });
    });
}

// polkit notices a new file soon, or reads it when it starts. Whoever asks it after us shall find
// the rights; those who ask it never do not mind.
Done awaitPolkit()
{
    const auto connection = BusConnection::open();
    if (!connection)
        return std::monostate{};
    const auto authority =
        sdbus::createProxy(*connection.value()->bus(), "org.freedesktop.PolicyKit1",
                           "/org/freedesktop/PolicyKit1/Authority");
    const auto end = Clock::now() + 2s;
    for (auto left = end - Clock::now(); left > 0s; left = end - Clock::now()) {
        if (areKnown(actions(*authority, left)))
            break;
        std::this_thread::sleep_for(5ms);
    }
    return std::monostate{};
}

Done refuseExisting()
{
    struct stat status {};
    if (::lstat(InstalledFiles::rights, &status) == 0)
        return Error{adminError(AdminError::rightExists), "add", InstalledFiles::rights};
    if (errno != ENOENT)
        return Error::last("look for", InstalledFiles::rights);
    return std::monostate{};
}

Done writePolicy()
{
    const auto policy = rightsPolicy(helperAuthorizationRights());
    if (!policy)
        return policy.error();
    return inOrder({[] { return prepareFolderOf(InstalledFiles::rights); },
                    [&] { return installText(InstalledFiles::rights, policy.value()); }});
}

} // namespace

Done addRights()
{
    return inOrder({refuseExisting, changeRights});
}

Done changeRights()
{
    return inOrder({writePolicy, awaitPolkit});
}

} // namespace veltra
