#pragma once

#include "platform/base/ReplacementFile.h"

namespace veltra {

/// A copy, beside the installed helper, of the one in the bundle that this program runs from.
///
/// It is a copy that nobody else can write to, and as such is validly signed, by exactly the
/// certificates that this program is signed by; else there is none.
[[nodiscard]] Result<ReplacementFile> copyOfBundledHelper();

} // namespace veltra
