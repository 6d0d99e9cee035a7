#include "helper/InfoPlist.h"

// The linker defines these two for a section whose name is a C identifier; see ld(1).
extern "C" {
extern const char __start_info_plist[] __attribute__((weak)); // NOLINT(*-reserved-identifier)
extern const char __stop_info_plist[] __attribute__((weak));  // NOLINT(*-reserved-identifier)
}

namespace veltra {

std::string_view embeddedInfoPlist() noexcept
{
    const char* const start = __start_info_plist;
    return start ? std::string_view{start, __stop_info_plist} : std::string_view{};
}

} // namespace veltra
