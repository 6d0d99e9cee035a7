#pragma once

#include "platform/base/Error.h"
#include "platform/bundle/PropertyList.h"

#include <string>

namespace veltra {

/// The information property list that an executable carries in its section `info_plist`, at most
/// one megabyte. Fails when the file cannot be read, is no ELF file or has no such list. From any
/// thread; see elf(5).
[[nodiscard]] Result<PropertyList> informationOfExecutable(const std::string& path);

} // namespace veltra
