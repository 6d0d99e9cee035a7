#pragma once

#include "helper/Helper.h"

namespace veltra {

/// Creates a Helper and runs it until it ends by itself or a signal asks it to end; in both cases
/// it still answers the remaining calls. Call it once, before there are other threads, because they
/// inherit the blocked signals. Returns the process's exit status.
[[nodiscard]] int runHelperProcess(Helper::Setting setting);

} // namespace veltra
