#pragma once

#include "platform/base/Error.h"
#include "platform/bus/BusConnection.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace veltra {

/// An action as polkit tells it. See the interface org.freedesktop.PolicyKit1.Authority in polkit's
/// reference manual.
struct PolkitAction {
    std::string id;
    std::string description;
    std::string message; ///< what the dialog shows
    std::string vendor;
    std::uint32_t allowedAnyone = 0; ///< without a session; the numbers are polkit's own
    std::uint32_t allowedInactive = 0;
    std::uint32_t allowedActive = 0;
    std::map<std::string, std::string> annotations;

    /// The annotation of that name; none is null.
    [[nodiscard]] const std::string* annotation(const std::string& name) const;
};

/// A right is stored as an action with these annotations: its own name, which an action's cannot
/// hold, and its definition, in JSON.
inline constexpr const char* rightNameAnnotation = "com.veltra.right.name";
inline constexpr const char* rightDefinitionAnnotation = "com.veltra.right.definition";

/// The id of the action that stands for a right.
[[nodiscard]] std::string polkitActionId(std::string right);

/// A call of polkit's that has yet to be given its arguments.
[[nodiscard]] BusMessage polkitCall(BusConnection& bus, const std::string& method);

/// All actions that polkit knows now, with the texts of the given locale.
[[nodiscard]] Result<std::vector<PolkitAction>>
polkitActions(BusConnection& bus, BusConnection::Patience patience, const std::string& locale = {});

/// What a call of polkit's that was answered in another form than its own has failed with.
[[nodiscard]] Error polkitMisunderstood(const std::string& method);

} // namespace veltra
