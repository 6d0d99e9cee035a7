#pragma once

#include "platform/base/Fd.h"
#include "platform/signing/CodeSigningServices.h"

#include <vector>

namespace veltra {

/// The other executables of the bundle that contains an open executable; none if it is not in a
/// bundle.
///
/// A bundle is a folder whose name ends in ".app"; its executables are the ELF files with an
/// executable bit directly in its folders Contents/Linux and Contents/Library/LaunchServices.
/// Symbolic links are not followed. errSecCSNestedCodeInvalid if one cannot be read or there are
/// more than the limit; errSecCSCodeDeleted if the executable itself is no longer there.
[[nodiscard]] SecOutcome<std::vector<Fd>> openNestedCode(int executable);

/// The main executable of the open bundle folder: the one in Contents/Linux that its
/// Contents/Info.plist names. errSecCSBundleMalformed if there is none.
[[nodiscard]] SecOutcome<Fd> openMainExecutable(int bundle);

} // namespace veltra
