#pragma once

#include <string_view>

namespace veltra {

/// The information property list that was linked into this program, section `info_plist`; empty
/// when none was.
[[nodiscard]] std::string_view embeddedInfoPlist() noexcept;

} // namespace veltra
