#pragma once

#include <QIcon>

#include <string_view>

namespace veltra {

/// The sign in front of a message type, told apart by shape as well as colour: a ring with a
/// cross for "Error", a triangle with an exclamation mark for "Warning", a ring with an i for
/// "Info", none for others. Painted afresh at every size, so it is crisp on every display.
/// Main thread only.
[[nodiscard]] QIcon severityIcon(std::string_view messageType);

} // namespace veltra
