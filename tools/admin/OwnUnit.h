#pragma once

#include "platform/base/Error.h"

#include <string_view>

namespace veltra {

/// Whether the tool has to do its work in a unit of its own: systemd runs, and this process is not
/// in such a unit. It is in the control group of the user who started it, who may be allowed to
/// freeze that with the lock held.
[[nodiscard]] bool isOwnUnitNeeded();

/// Runs this program with a verb in a unit of its own, and waits for its end. Its standard error
/// is passed on. Returns its exit status, or the number of the signal that ended it. The work goes
/// on if this process ends. Fails if systemd does not start the unit or the bus goes away.
[[nodiscard]] Result<int> runInOwnUnit(std::string_view verb);

} // namespace veltra
