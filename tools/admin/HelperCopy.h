#pragma once

#include "platform/base/ReplacementFile.h"

namespace veltra {

/// Copies the helper from the bundle that this program runs from to the folder of the installed
/// helper.
///
/// Nobody else can write to the copy. The copy itself is checked: it must be validly signed by
/// exactly the certificates that this program is signed by; otherwise this fails.
[[nodiscard]] Result<ReplacementFile> copyOfBundledHelper();

} // namespace veltra
