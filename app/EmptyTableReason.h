#pragma once

#include "watch/VXStatusResourceController.h"

#include <QString>

#include <cstddef>

namespace veltra {

/// Why a table has no rows, in the user's language: there is no log folder, it cannot be read, it
/// has no log, the log at `logPath` cannot be read, or none of its `linesRead` lines made a row.
/// `logPath` ends with a slash if no log was found in that folder. Any thread.
[[nodiscard]] QString whyTableIsEmpty(const QString& logPath, std::size_t linesRead,
                                      const VXStatusResourceController& resources);

} // namespace veltra
