#pragma once

#include "platform/bus/PolkitAction.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace veltra {

inline constexpr std::uint32_t authAdminKeep = 4;
inline constexpr std::uint32_t allowed = 5;

/// The monitor's actions that polkit knows now, by identifier.
inline std::map<std::string, PolkitAction> monitorActions(const std::string& locale = {})
{
    const auto bus = std::move(BusConnection::open().value());
    auto actions = polkitActions(*bus, BusConnection::forEver, locale);
    EXPECT_TRUE(actions);
    std::map<std::string, PolkitAction> found;
    for (PolkitAction& action : actions.value())
        if (action.vendor == "Veltra")
            found[action.id] = std::move(action);
    return found;
}

} // namespace veltra
