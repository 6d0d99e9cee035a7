#pragma once

#include "platform/base/RightDefinition.h"

#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// A selector of the helper's protocol, as the platform spells it: "getVersionWithCompletion:".
using Selector = std::string;

// The keys of a rule.
inline constexpr const char* kAuthorizationRightKeyClass = "class";
inline constexpr const char* kAuthorizationRightKeyGroup = "group";
inline constexpr const char* kAuthorizationRightKeyRule = "rule";
inline constexpr const char* kAuthorizationRightKeyTimeout = "timeout";
inline constexpr const char* kAuthorizationRightKeyVersion = "version";

/// The right that guards one command of the helper's. A value.
struct HelperAuthorizationRight {
    /// Without a name of its own the right is called after the helper and its command.
    HelperAuthorizationRight(Selector forCommand, const std::optional<std::string>& ownName,
                             std::string prompt, std::optional<RightDefinition> custom,
                             std::optional<std::string> constant);

    /// The definition to register: the custom rule; without one the constant; without that one
    /// too, the system's rule that asks for an administrator.
    [[nodiscard]] RightDefinition rule() const;

    Selector command;
    std::string name;
    std::string description; ///< what the system shows when it asks for credentials
    std::optional<RightDefinition> ruleCustom;
    std::optional<std::string> ruleConstant; ///< the name of a predefined rule
};

/// The rights that guard the helper's commands. From any thread; never changes.
[[nodiscard]] const std::vector<HelperAuthorizationRight>& helperAuthorizationRights();

} // namespace veltra
