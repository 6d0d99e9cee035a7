#pragma once

#include "channel/protocol/HelperAuthorizationRight.h"
#include "platform/base/Error.h"

#include <string>
#include <vector>

namespace veltra {

/// A right's definition as one line of JSON that can be put into XML unchanged.
[[nodiscard]] std::string definitionInPolicy(const HelperAuthorizationRight& right);

/// The polkit policy in which each right is an action that asks for an administrator and is kept
/// for at most five minutes. Fails for a right that a policy cannot express.
[[nodiscard]] Result<std::string> rightsPolicy(const std::vector<HelperAuthorizationRight>& rights);

} // namespace veltra
