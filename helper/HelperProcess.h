#pragma once

#include "helper/Helper.h"

namespace veltra {

/// Makes a Helper and lets it run until it ends by itself or a signal asks it to, answering then
/// what is left as after any end. To be called once, before there are other threads, which inherit
/// the blocking of signals. The result is the process's exit status.
[[nodiscard]] int runHelperProcess(Helper::Setting setting);

} // namespace veltra
