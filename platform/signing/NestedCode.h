#pragma once

#include "platform/base/Fd.h"
#include "platform/signing/CodeSigningServices.h"

#include <vector>

namespace veltra {

/// The executables of the bundle that an open executable stands in, itself left out; none when it
/// stands in no bundle.
///
/// A bundle is a folder whose name ends in ".app"; its executables are the ELF files with an
/// executable bit directly in its folders Contents/Linux and Contents/Library/LaunchServices.
/// Symbolic links are not followed. errSecCSNestedCodeInvalid when one cannot be read or there is
/// more than is looked at; errSecCSCodeDeleted when the executable itself stands there no longer.
[[nodiscard]] SecOutcome<std::vector<Fd>> openNestedCode(int executable);

/// The main executable of the bundle folder that is open: the one in Contents/Linux that its
/// Contents/Info.plist names. errSecCSBundleMalformed when there is none.
[[nodiscard]] SecOutcome<Fd> openMainExecutable(int bundle);

} // namespace veltra
