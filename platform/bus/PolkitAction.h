#pragma once

#include "platform/base/Error.h"
#include "platform/bus/BusConnection.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace veltra {

/// An action as described by polkit. See the interface org.freedesktop.PolicyKit1.Authority in
/// polkit's reference manual.
struct PolkitAction {
    std::string id;
    std::string description;
    std::string message; ///< shown in the dialog
    std::string vendor;
    std::uint32_t allowedAnyone = 0; ///< without a session; the numbers are defined by polkit
    std::uint32_t allowedInactive = 0;
    std::uint32_t allowedActive = 0;
    std::map<std::string, std::string> annotations;

    /// The annotation with that name; null if there is none.
    [[nodiscard]] const std::string* annotation(const std::string& name) const;
};

/// A right is stored as an action with these annotations: its name, which an action's id cannot
/// contain, and its definition, in JSON.
inline constexpr const char* rightNameAnnotation = "com.veltra.right.name";
inline constexpr const char* rightDefinitionAnnotation = "com.veltra.right.definition";

/// The id of the action that represents a right.
[[nodiscard]] std::string polkitActionId(std::string right);

/// A new call to polkit; append its arguments, then send it.
[[nodiscard]] BusMessage polkitCall(BusConnection& bus, const std::string& method);

/// All actions that polkit currently knows, with their texts in the given locale.
[[nodiscard]] Result<std::vector<PolkitAction>>
polkitActions(BusConnection& bus, BusConnection::Patience patience, const std::string& locale = {});

/// The error for a reply from polkit that does not have the expected form.
[[nodiscard]] Error polkitMisunderstood(const std::string& method);

} // namespace veltra
