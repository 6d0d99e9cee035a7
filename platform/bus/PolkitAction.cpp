#include "platform/bus/PolkitAction.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace veltra {

namespace {

// Id, description, message, vendor, its address, icon; what is allowed without a session, in an
// inactive session and in an active one; annotations.
using ActionOnTheBus =
    std::tuple<std::string, std::string, std::string, std::string, std::string, std::string,
               std::uint32_t, std::uint32_t, std::uint32_t, std::map<std::string, std::string>>;

PolkitAction makeAction(std::string id, std::string description, std::string message,
                        std::string vendor, const std::string&, const std::string&,
                        std::uint32_t allowedAnyone, std::uint32_t allowedInactive,
                        std::uint32_t allowedActive, std::map<std::string, std::string> annotations)
{
    return {std::move(id), std::move(description), std::move(message), std::move(vendor),
            allowedAnyone, allowedInactive,        allowedActive,      std::move(annotations)};
}

} // namespace

const std::string* PolkitAction::annotation(const std::string& name) const
{
    const auto found = annotations.find(name);
    return found == annotations.end() ? nullptr : &found->second;
}

std::string polkitActionId(std::string right)
{
    std::ranges::replace(right, ':', '-');
    return right;
}

BusMessage polkitCall(BusConnection& bus, const std::string& method)
{
    return bus.methodCall("org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                          "org.freedesktop.PolicyKit1.Authority", method);
}

Result<std::vector<PolkitAction>>
polkitActions(BusConnection& bus, BusConnection::Patience patience, const std::string& locale)
{
    constexpr const char* method = "EnumerateActions";
    auto question = polkitCall(bus, method);
    auto answer = bus.call(question.append(locale), patience);
    if (!answer)
        return answer.error();
    std::vector<ActionOnTheBus> told;
    if (!answer.value().read(told))
        return polkitMisunderstood(method);
    std::vector<PolkitAction> actions;
    actions.reserve(told.size());
    for (ActionOnTheBus& action : told)
        actions.push_back(std::apply(makeAction, std::move(action)));
    return actions;
}

Error polkitMisunderstood(const std::string& method)
{
    return Error{std::make_error_code(std::errc::bad_message), "understand polkit about", method};
}

} // namespace veltra
