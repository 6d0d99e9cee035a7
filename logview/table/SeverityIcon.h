#pragma once

#include <QIcon>

#include <string_view>

namespace veltra {

/// The icon before a message type. Icons differ in shape as well as colour: a ring with a cross for
/// "Error", a triangle with an exclamation mark for "Warning", a ring with an i for "Info", no icon
/// for others. Painted again for every size, so that it is sharp on every display. Main thread
/// only.
[[nodiscard]] QIcon severityIcon(std::string_view messageType);

} // namespace veltra
