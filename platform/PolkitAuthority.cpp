#include "platform/PolkitAuthority.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace veltra {

namespace {

constexpr const char* name = "org.freedesktop.PolicyKit1";
constexpr const char* path = "/org/freedesktop/PolicyKit1/Authority";
constexpr const char* interface = "org.freedesktop.PolicyKit1.Authority";

constexpr auto longestAnswer = std::chrono::seconds{5};

using Texts = std::map<std::string, std::string>;
using Action = std::tuple<std::string, std::string, std::string, std::string, std::string,
                          std::string, std::uint32_t, std::uint32_t, std::uint32_t, Texts>;
constexpr std::size_t messageIndex = 2;
constexpr std::size_t annotationsIndex = 9;

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
    auto question = bus_->methodCall(name, path, interface, method);
    auto answer = bus_->call(question.append(arguments...), patience);
    if (!answer)
        return answer.error();
    std::tuple<Results...> results;
    const auto readAll = [&](Results&... values) { return answer.value().read(values...); };
    if (!std::apply(readAll, results))
        return Error{std::make_error_code(std::errc::bad_message), "understand polkit about",
                     method};
    return results;
}

Result<std::optional<PolkitAction>> PolkitAuthority::findAction(const std::string& annotation,
                                                                const std::string& value)
{
    const auto answer = ask<std::vector<Action>>("EnumerateActions", longestAnswer, std::string{});
    if (!answer)
        return answer.error();
    for (const Action& action : std::get<0>(answer.value())) {
        const Texts& annotations = std::get<annotationsIndex>(action);
        const auto found = annotations.find(annotation);
        if (found != annotations.end() && found->second == value)
            return std::optional{PolkitAction{std::get<messageIndex>(action), annotations}};
    }
    return std::optional<PolkitAction>{};
}

Result<PolkitAnswer> PolkitAuthority::check(const Subject& subject, const std::string& action,
                                            Interaction interaction)
{
    const bool mayAsk = interaction == Interaction::allowed;
    // The last would name the question for who wants to cancel it. It goes with the connection
    // anyway.
    const auto answer = ask<std::tuple<bool, bool, Texts>>(
        "CheckAuthorization", mayAsk ? BusConnection::forEver : longestAnswer, subject, action,
        Texts{}, std::uint32_t{mayAsk}, std::string{});
    if (!answer)
        return answer.error();
    return std::apply(meaningOf, std::get<0>(answer.value()));
}

} // namespace veltra
