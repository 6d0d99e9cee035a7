#pragma once

#include "platform/base/RightDefinition.h"

#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// A selector of the helper's protocol, in the platform's notation: "getVersionWithCompletion:".
using Selector = std::string;

// The keys of a rule. The program itself does not use the time-out; it is part of the interface.
inline constexpr const char* kAuthorizationRightKeyClass = "class";
inline constexpr const char* kAuthorizationRightKeyGroup = "group";
inline constexpr const char* kAuthorizationRightKeyRule = "rule";
inline constexpr const char* kAuthorizationRightKeyTimeout = "timeout";
inline constexpr const char* kAuthorizationRightKeyVersion = "version";

/// The right that guards one of the helper's commands. A value.
struct HelperAuthorizationRight {
    /// If `ownName` is empty, the right is named after the helper and its command.
    HelperAuthorizationRight(Selector forCommand, const std::optional<std::string>& ownName,
                             std::string prompt, std::optional<RightDefinition> custom,
                             std::optional<std::string> constant);

    /// The definition to register: the custom rule if there is one, otherwise the constant,
    /// otherwise the system's rule that asks for an administrator.
    [[nodiscard]] RightDefinition rule() const;

    Selector command;
    std::string name;
    std::string description; ///< shown by the system when it asks for credentials
    std::optional<RightDefinition> ruleCustom;
    std::optional<std::string> ruleConstant; ///< the name of a predefined rule
};

/// The rights that guard the helper's commands. May be called from any thread; never changes.
[[nodiscard]] const std::vector<HelperAuthorizationRight>& helperAuthorizationRights();

} // namespace veltra
