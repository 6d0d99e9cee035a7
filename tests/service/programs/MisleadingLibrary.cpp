// Leads a program into which it is preloaded from the system's bus to a user's own.
#include "tests/service/FalseBus.h"

#include <algorithm>
#include <cstring>

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

extern "C" int connect(int socket, const sockaddr* address, socklen_t size)
{
    sockaddr_un there{};
    std::memcpy(&there, address, std::min<std::size_t>(size, sizeof there));
    if (there.sun_family != AF_UNIX ||
        std::strcmp(there.sun_path, "/run/dbus/system_bus_socket") != 0)
        return static_cast<int>(::syscall(SYS_connect, socket, address, size));

    std::strcpy(there.sun_path, veltra::falseBusSocket);
    return static_cast<int>(::syscall(SYS_connect, socket, &there, sizeof there));
}
