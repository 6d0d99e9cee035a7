#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace veltra {

/// The path of a user's own bus; it does not exist when a test starts.
inline const std::string falseBusFolder = "/tmp/users";
inline constexpr const char* falseBusSocket = "/tmp/users/system_bus_socket";
inline const std::string falseBusAddress = std::string{"unix:path="} + falseBusSocket;

/// Creates the folder for a bus on which everybody may do everything; bus.conf in it is its
/// configuration.
inline void layOutFalseBus()
{
    std::filesystem::create_directory(falseBusFolder);
    std::filesystem::permissions(falseBusFolder, std::filesystem::perms::all);
    std::ofstream{falseBusFolder + "/bus.conf"}
        << "<busconfig><listen>" << falseBusAddress << "</listen>"
        << "<policy context='default'><allow user='*'/><allow own='*'/>"
        << "<allow send_destination='*'/><allow receive_sender='*'/></policy></busconfig>";
}

} // namespace veltra
