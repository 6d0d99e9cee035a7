#include "platform/PolkitAuthority.h"

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace veltra {

namespace {

constexpr const char* name = "org.freedesktop.PolicyKit1";
constexpr const char* path = "/org/freedesktop/PolicyKit1/Authority";
constexpr const char* interface = "org.freedesktop.PolicyKit1.Authority";

constexpr std::uint64_t longestAnswer = 5'000'000; // in microseconds
constexpr auto forEver = std::numeric_limits<std::uint64_t>::max();

using Texts = std::map<std::string, std::string>;
using Action = sdbus::Struct<std::string, std::string, std::string, std::string, std::string,
                             std::string, std::uint32_t, std::uint32_t, std::uint32_t, Texts>;
constexpr std::size_t messageIndex = 2;
constexpr std::size_t annotationsIndex = 9;

Error failure(const char* action, const std::string& subject, const sdbus::Error& error)
{
    return Error{std::make_error_code(std::errc::io_error), action,
                 subject + " (" + error.getMessage() + ")"};
}

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

PolkitAuthority::PolkitAuthority(std::unique_ptr<BusConnection> bus)
    : bus_{std::move(bus)}, authority_{sdbus::createProxy(*bus_->bus(), name, path)}
{
}

PolkitAuthority::Subject PolkitAuthority::self() const
{
    return {"system-bus-name", {{"name", sdbus::Variant{bus_->uniqueName()}}}};
}

PolkitAuthority::Subject PolkitAuthority::subject(const RegisteredProcess& process)
{
    return {"unix-process",
            {{"pid", sdbus::Variant{static_cast<std::uint32_t>(process.pid())}},
             {"start-time", sdbus::Variant{process.startTime()}},
             {"uid", sdbus::Variant{static_cast<std::int32_t>(process.user())}}}};
}

Result<std::optional<PolkitAction>> PolkitAuthority::findAction(const std::string& annotation,
                                                                const std::string& value)
{
    try {
        std::vector<Action> actions;
        authority_->callMethod("EnumerateActions")
            .onInterface(interface)
            .withTimeout(longestAnswer)
            .withArguments(std::string{})
            .storeResultsTo(actions);
        for (const Action& action : actions) {
            const Texts& annotations = std::get<annotationsIndex>(action);
            const auto found = annotations.find(annotation);
            if (found != annotations.end() && found->second == value)
                return std::optional{PolkitAction{std::get<messageIndex>(action), annotations}};
        }
        return std::optional<PolkitAction>{};
    } catch (const sdbus::Error& error) {
        return failure("find the action for", value, error);
    }
}

Result<PolkitAnswer> PolkitAuthority::check(const Subject& subject, const std::string& action,
                                            Interaction interaction)
{
    const bool mayAsk = interaction == Interaction::allowed;
    try {
        sdbus::Struct<bool, bool, Texts> answer;
        authority_->callMethod("CheckAuthorization")
            .onInterface(interface)
            .withTimeout(mayAsk ? forEver : longestAnswer)
            // The last would name the question for who wants to cancel it. It goes with the
            // connection anyway.
            .withArguments(subject, action, Texts{}, std::uint32_t{mayAsk}, std::string{})
            .storeResultsTo(answer);
        return meaningOf(std::get<0>(answer), std::get<1>(answer), std::get<2>(answer));
    } catch (const sdbus::Error& error) {
        return failure("ask about", action, error);
    }
}

} // namespace veltra
