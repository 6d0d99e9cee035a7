#pragma once

#include "platform/base/ReplacementFile.h"
#include "tools/admin/AdminError.h"

#include <string>
#include <string_view>

namespace veltra {

/// The paths of the installed files. All of them are fixed: nobody can choose where root's files
/// are written.
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

/// Makes sure that a file's folder exists and that only root can change its contents; creates what
/// is missing. Removes what an interrupted installation of that file left behind.
[[nodiscard]] Result<> prepareFolderOf(const std::string& path);

/// Makes root the owner of a new file, gives it these permissions, and replaces the old file with
/// it.
[[nodiscard]] Result<> putInPlace(ReplacementFile file, mode_t permissions);

/// Replaces the file at `path` with one that everybody may read.
[[nodiscard]] Result<> installText(const std::string& path, std::string_view text);

/// Removes a file if it exists, and what an interrupted installation of it left behind.
[[nodiscard]] Result<> removeInstalled(const std::string& path);

} // namespace veltra
