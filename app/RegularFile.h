#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <QString>

namespace veltra {

/// Opens a file for reading. Anything but a regular file is an error, so that opening and reading
/// never wait for another program.
[[nodiscard]] Result<Fd> openRegularFile(const QString& path);

} // namespace veltra
