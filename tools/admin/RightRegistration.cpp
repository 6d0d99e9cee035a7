#include "tools/admin/RightRegistration.h"

#include "platform/bus/PolkitAction.h"
#include "tools/admin/InstalledFiles.h"
#include "tools/admin/RightsPolicy.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace veltra {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

bool isFor(const PolkitAction& action, const HelperAuthorizationRight& right)
{
    const auto* const name = action.annotation(rightNameAnnotation);
    const auto* const definition = action.annotation(rightDefinitionAnnotation);
    return name && *name == right.name && definition && *definition == definitionInPolicy(right) &&
           action.message == right.description;
}

bool areKnown(const std::vector<PolkitAction>& actions)
{
    return std::ranges::all_of(helperAuthorizationRights(), [&](const auto& right) {
        return std::ranges::any_of(
            actions, [&](const PolkitAction& action) { return isFor(action, right); });
    });
}

// polkit notices a new file soon, or reads it when it starts. We wait so that whoever asks polkit
// after us finds the rights; if polkit cannot be reached, there is no need to wait.
Result<> awaitPolkit()
{
    const auto bus = BusConnection::open();
    if (!bus)
        return success;
    const auto end = Clock::now() + 2s;
    for (auto left = end - Clock::now(); left > 0s; left = end - Clock::now()) {
        // If the actions cannot be read, they count as not registered yet.
        const auto actions =
            polkitActions(*bus.value(), std::chrono::ceil<BusConnection::Patience>(left));
        if (actions && areKnown(actions.value()))
            break;
        std::this_thread::sleep_for(5ms);
    }
    return success;
}

Result<> refuseExisting()
{
    struct stat status {};
    if (::lstat(InstalledFiles::rights, &status) == 0)
        return Error{adminError(AdminError::rightExists), "add", InstalledFiles::rights};
    if (errno != ENOENT)
        return Error::last("look for", InstalledFiles::rights);
    return success;
}

Result<> writePolicy()
{
    const auto policy = rightsPolicy(helperAuthorizationRights());
    if (!policy)
        return policy.error();
    return inOrder({[] { return prepareFolderOf(InstalledFiles::rights); },
                    [&] { return installText(InstalledFiles::rights, policy.value()); }});
}

} // namespace

Result<> addRights()
{
    return inOrder({refuseExisting, changeRights});
}

Result<> changeRights()
{
    return inOrder({writePolicy, awaitPolkit});
}

} // namespace veltra
