#pragma once

#include "platform/base/Error.h"
#include "platform/bundle/PropertyList.h"

#include <string>

namespace veltra {

/// The information property list in an executable's section `info_plist`, at most one megabyte.
/// Fails if the file cannot be read, is not an ELF file or has no such list. May be called from any
/// thread; see elf(5).
[[nodiscard]] Result<PropertyList> informationOfExecutable(const std::string& path);

} // namespace veltra
