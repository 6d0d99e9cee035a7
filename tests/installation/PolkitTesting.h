#pragma once

#include "platform/BusConnection.h"

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {

/// Identifier, description, message, vendor, its address, icon; what is allowed without a session,
/// in an inactive and in an active one; annotations.
using PolkitAction =
    std::tuple<std::string, std::string, std::string, std::string, std::string, std::string,
               std::uint32_t, std::uint32_t, std::uint32_t, std::map<std::string, std::string>>;

inline constexpr std::uint32_t authAdminKeep = 4;
inline constexpr std::uint32_t allowed = 5;

/// A call of polkit's that has yet to be given its arguments.
inline BusMessage callOfPolkit(BusConnection& bus, const std::string& method)
{
    return bus.methodCall("org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                          "org.freedesktop.PolicyKit1.Authority", method);
}

/// The actions of the monitor's that polkit knows now, by identifier.
inline std::map<std::string, PolkitAction> monitorActions(const std::string& locale = {})
{
    const auto bus = std::move(BusConnection::open().value());
    auto question = callOfPolkit(*bus, "EnumerateActions");
    auto answer = bus->call(question.append(locale));
    std::vector<PolkitAction> all;
    EXPECT_TRUE(answer && answer.value().read(all));
    std::map<std::string, PolkitAction> found;
    for (const PolkitAction& action : all)
        if (std::get<3>(action) == "Veltra")
            found[std::get<0>(action)] = action;
    return found;
}

} // namespace veltra
