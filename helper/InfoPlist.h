#pragma once

#include <string_view>

namespace veltra {

/// The information property list that was linked into this program (section `info_plist`); empty if
/// there is none.
[[nodiscard]] std::string_view embeddedInfoPlist() noexcept;

} // namespace veltra
