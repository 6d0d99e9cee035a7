#pragma once

#include "platform/base/Error.h"

#include <functional>
#include <initializer_list>
#include <system_error>
#include <variant>

namespace veltra {

/// Why the tool refuses to do what it was asked for, beyond what the system itself refuses.
enum class AdminError {
    rightExists = 1,
    outsideOfBundle,
    signedByOthers,
    folderOfOthers,
    unitsFailed,
    helperRunsOn,
    textUnfit,
};

/// A reason as the code of an Error, whose message ends with the reason's text.
[[nodiscard]] std::error_code adminError(AdminError reason);

/// Takes the steps up to the first that fails.
[[nodiscard]] Result<> inOrder(std::initializer_list<std::function<Result<>()>> steps);

} // namespace veltra
