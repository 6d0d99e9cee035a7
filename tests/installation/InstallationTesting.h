#pragma once

#include "tests/service/ServiceTesting.h"

#include <algorithm>
#include <iomanip>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace veltra {

inline const std::string bundle = "/opt/Veltra/VeltraAgentStatusMonitor.app/Contents/";
inline const std::string adminTool = bundle + "Linux/veltra-admin-tool";
inline const std::string helperCopy = bundle + "Library/LaunchServices/" + helperName;

inline const std::string unitPath = "/etc/systemd/system/veltra-agentmonitor-helper.service";
inline const std::string busPolicyPath = "/etc/dbus-1/system.d/" + helperName + ".conf";
inline const std::string busServiceFolder = "/usr/local/share/dbus-1/system-services";
inline const std::string busServicePath = busServiceFolder + "/" + helperName + ".service";
inline const std::string rightsPath =
    "/usr/share/polkit-1/actions/com.veltra.agentMonitor.rights.policy";
inline const std::vector<std::string> helperFiles{helperPath, unitPath, busPolicyPath,
                                                  busServicePath};

inline const std::string rightName = helperName + ".runCommandWithPath:authData:completion:";
inline const std::string rightText =
    "Quorrel wants to run the command /Library/Veltra/ovra/bin/trolex";

/// What the tool prints when it is run with a verb, and its exit status if that is not 0.
inline std::string admin(const std::string& words)
{
    return outputOf(adminTool + " " + words);
}

/// Where systemd runs, a control group that makes the tool believe that it is in its own unit
/// already, so that it does its work itself; otherwise empty.
inline std::string ownUnitGroup()
{
    const std::string group = "/sys/fs/cgroup/system.slice/veltra-admin-tool-test.service";
    if (!isUnderSystemd())
        return {};
    std::filesystem::create_directory(group);
    return group;
}

/// Puts the calling process into a control group.
inline void join(const std::string& group)
{
    if (!group.empty())
        std::ofstream{group + "/cgroup.procs"} << "0";
}

/// Owner, group and permissions of a file, such as "0:0 644"; empty if it does not exist.
inline std::string ownershipOf(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return {};
    std::ostringstream text;
    text << status.st_uid << ":" << status.st_gid << " " << std::oct << (status.st_mode & 07777);
    return text.str();
}

/// Everything that the tool may have installed anywhere, including unfinished files.
inline std::set<std::string> installedFiles()
{
    std::set<std::string> found;
    for (std::string path : helperFiles)
        for (std::error_code ignored; const auto& entry : std::filesystem::directory_iterator{
                                          std::filesystem::path{path}.parent_path(), ignored})
            if (entry.path().native().find("eltra") != std::string::npos &&
                !entry.path().filename().native().starts_with("veltra-test"))
                found.insert(entry.path());
    return found;
}

/// Whether the bundle's helper is the installed one.
inline bool isBundledHelperInstalled()
{
    return contentOf(helperPath) == contentOf(helperCopy);
}

/// Has the bus start the helper, unless it runs; returns the helper's process.
inline pid_t startHelper()
{
    const std::string answer = outputOf("dbus-send --system --print-reply --dest=" + helperName +
                                        " / org.freedesktop.DBus.Introspectable.Introspect");
    EXPECT_NE(answer.find("<node"), std::string::npos) << answer;
    return helperProcess();
}

/// The path of the program that a process runs.
inline std::string programOf(pid_t process)
{
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", ignored);
}

/// Changes one byte in the middle of a file.
inline void changeOneByteOf(const std::string& path)
{
    std::string bytes = contentOf(path);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    std::ofstream{path, std::ios::binary} << bytes;
}

} // namespace veltra
