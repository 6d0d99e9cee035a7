#pragma once

#include "platform/base/Error.h"

#include <QString>

namespace veltra {

/// Why something failed, in the system's words, without what failed.
[[nodiscard]] QString reasonOf(const Error& error);

} // namespace veltra
