#include "platform/rights/PolkitAuthority.h"

#include <chrono>
#include <cstdint>
#include <utility>
#include <vector>

namespace veltra {

namespace {

constexpr auto longestAnswer = std::chrono::seconds{5};

using Texts = std::map<std::string, std::string>;
PolkitAnswer meaningOf(bool isAuthorized, bool isChallenge, const Texts& details)
{
    if (isAuthorized)
        return PolkitAnswer::authorized;
    if (isChallenge)
        return PolkitAnswer::needsInteraction;
    return details.contains("polkit.dismissed") ? PolkitAnswer::dismissed : PolkitAnswer::denied;
}

} // namespace

Result<PolkitAuthority> PolkitAuthority::open()
{
    auto bus = BusConnection::open();
    if (!bus)
        return bus.error();
    return PolkitAuthority{std::move(bus.value())};
}

PolkitAuthority::Subject PolkitAuthority::self() const
{
    return {"system-bus-name", {{"name", bus_->uniqueName()}}};
}

PolkitAuthority::Subject PolkitAuthority::subject(const RegisteredProcess& process)
{
    return {"unix-process",
            {{"pid", static_cast<std::uint32_t>(process.pid())},
             {"start-time", process.startTime()},
             {"uid", static_cast<std::int32_t>(process.user())}}};
}

template <typename... Results, typename... Arguments>
Result<std::tuple<Results...>> PolkitAuthority::ask(const char* method,
                                                    BusConnection::Patience patience,
                                                    const Arguments&... arguments)
{
    auto question = polkitCall(*bus_, method);
    auto answer = bus_->call(question.append(arguments...), patience);
    if (!answer)
        return answer.error();
    std::tuple<Results...> results;
    const auto readAll = [&](Results&... values) { return answer.value().read(values...); };
    if (!std::apply(readAll, results))
        return polkitMisunderstood(method);
    return results;
}

Result<std::optional<PolkitAction>> PolkitAuthority::findAction(const std::string& annotation,
                                                                const std::string& value)
{
    auto actions = polkitActions(*bus_, longestAnswer);
    if (!actions)
        return actions.error();
    for (PolkitAction& action : actions.value())
        if (const auto* const found = action.annotation(annotation); found && *found == value)
            return std::optional{std::move(action)};
    return std::optional<PolkitAction>{};
}

Result<PolkitAnswer> PolkitAuthority::check(const Subject& subject, const std::string& action,
                                            Interaction interaction)
{
    const bool mayAsk = interaction == Interaction::allowed;
    // The last argument would identify the request for cancelling it. Closing the connection
    // cancels it anyway.
    const auto answer = ask<std::tuple<bool, bool, Texts>>(
        "CheckAuthorization", mayAsk ? BusConnection::forEver : longestAnswer, subject, action,
        Texts{}, std::uint32_t{mayAsk}, std::string{});
    if (!answer)
        return answer.error();
    return std::apply(meaningOf, std::get<0>(answer.value()));
}

} // namespace veltra
