#pragma once

#include "platform/base/Error.h"

#include <functional>
#include <initializer_list>
#include <system_error>
#include <variant>

namespace veltra {

/// Why the tool itself refuses a request, apart from errors of the system.
enum class AdminError {
    rightExists = 1,
    outsideOfBundle,
    signedByOthers,
    folderOfOthers,
    unitsFailed,
    helperRunsOn,
    othersWork,
    textUnfit,
};

/// Makes a reason the code of an Error; the error's message then ends with the reason's text.
[[nodiscard]] std::error_code adminError(AdminError reason);

/// Runs the steps in order, up to the first that fails.
[[nodiscard]] Result<> inOrder(std::initializer_list<std::function<Result<>()>> steps);

} // namespace veltra
