#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

namespace veltra {

/// Identifier, description, message, vendor, its address, icon; what is allowed without a session,
/// in an inactive and in an active one; annotations.
using PolkitAction =
    sdbus::Struct<std::string, std::string, std::string, std::string, std::string, std::string,
                  std::uint32_t, std::uint32_t, std::uint32_t, std::map<std::string, std::string>>;

inline constexpr std::uint32_t authAdminKeep = 4;
inline constexpr std::uint32_t allowed = 5;

inline std::unique_ptr<sdbus::IProxy> polkit(sdbus::IConnection& bus)
{
    return sdbus::createProxy(bus, "org.freedesktop.PolicyKit1",
                              "/org/freedesktop/PolicyKit1/Authority");
}

inline constexpr const char* polkitInterface = "org.freedesktop.PolicyKit1.Authority";

/// The actions of the monitor's that polkit knows now, by identifier.
inline std::map<std::string, PolkitAction> monitorActions(const std::string& locale = {})
{
    const auto bus = sdbus::createSystemBusConnection();
    std::vector<PolkitAction> all;
    polkit(*bus)
        ->callMethod("EnumerateActions")
        .onInterface(polkitInterface)
        .withArguments(locale)
        .storeResultsTo(all);
    std::map<std::string, PolkitAction> found;
    for (const PolkitAction& action : all)
        if (action.get<3>() == "Veltra")
            found[action.get<0>()] = action;
    return found;
}

} // namespace veltra
