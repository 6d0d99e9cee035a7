#pragma once

#include "platform/base/ReplacementFile.h"
#include "tools/admin/AdminError.h"

#include <string>
#include <string_view>

namespace veltra {

/// The places of what is installed. All of them are fixed: root's files are put nowhere that
/// anybody could choose.
namespace InstalledFiles {
inline constexpr const char* helper =
    "/Library/PrivilegedHelperTools/com.veltra.agentMonitor.helper";
inline constexpr const char* unit = "/etc/systemd/system/veltra-agentmonitor-helper.service";
inline constexpr const char* busPolicy = "/etc/dbus-1/system.d/com.veltra.agentMonitor.helper.conf";
inline constexpr const char* busService =
    "/usr/local/share/dbus-1/system-services/com.veltra.agentMonitor.helper.service";
inline constexpr const char* rights =
    "/usr/share/polkit-1/actions/com.veltra.agentMonitor.rights.policy";
} // namespace InstalledFiles

/// Makes sure that the folder of a file is there and that nobody but root can change what is in
/// it; clears away what an interrupted installation of that file left. What is missing is made.
[[nodiscard]] Result<> prepareFolderOf(const std::string& path);

/// Makes a new file root's, with these permissions, and puts it in the place of the other one.
[[nodiscard]] Result<> putInPlace(ReplacementFile file, mode_t permissions);

/// Puts a file that everybody may read in the place of the one at `path`.
[[nodiscard]] Result<> installText(const std::string& path, std::string_view text);

/// Removes a file, if it is there, and what an interrupted installation left of it.
[[nodiscard]] Result<> removeInstalled(const std::string& path);

} // namespace veltra
