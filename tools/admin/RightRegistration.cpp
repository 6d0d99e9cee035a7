#include "tools/admin/RightRegistration.h"

#include "platform/BusConnection.h"
#include "tools/admin/InstalledFiles.h"
#include "tools/admin/RightsPolicy.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <sys/stat.h>

namespace veltra {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Identifier, description, message, vendor, its address, icon; what is allowed without a session,
// in an inactive and in an active one; annotations.
using Action =
    std::tuple<std::string, std::string, std::string, std::string, std::string, std::string,
               std::uint32_t, std::uint32_t, std::uint32_t, std::map<std::string, std::string>>;

// One that cannot be learned is as good as one that is not there.
std::vector<Action> actions(BusConnection& bus, Clock::duration patience)
{
    auto question =
        bus.methodCall("org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                       "org.freedesktop.PolicyKit1.Authority", "EnumerateActions");
    auto answer = bus.call(question.append(std::string{}),
                           std::chrono::ceil<BusConnection::Patience>(patience));
    std::vector<Action> actions;
    if (!answer || !answer.value().read(actions))
        return {};
    return actions;
}

bool isFor(const Action& action, const HelperAuthorizationRight& right)
{
    const auto& annotations = std::get<9>(action);
    const auto name = annotations.find(rightNameAnnotation);
    const auto definition = annotations.find(rightDefinitionAnnotation);
    return name != annotations.end() && name->second == right.name &&
           definition != annotations.end() && definition->second == definitionInPolicy(right) &&
           std::get<2>(action) == right.description;
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
    const auto bus = BusConnection::open();
    if (!bus)
        return std::monostate{};
    const auto end = Clock::now() + 2s;
    for (auto left = end - Clock::now(); left > 0s; left = end - Clock::now()) {
        if (areKnown(actions(*bus.value(), left)))
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
