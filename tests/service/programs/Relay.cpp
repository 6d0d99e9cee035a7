#include "tests/service/programs/Relay.h"

#include "tests/service/programs/Intruder.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <signal.h>
#include <sys/prctl.h>
#include <systemd/sd-event.h>

namespace intruder {

namespace {

using veltra::Fd;

sd_bus* systemsBus = nullptr;
sd_bus* falseBus = nullptr;
bool isOpened = false;

// The trusted program has the same name on both buses.
int takeFalseProof(sd_bus_message* message, void*, sd_bus_error*)
{
    const bool isNamedAlike = sd_bus_message_get_sender(message) == nameOn(systemsBus);
    say(isNamedAlike ? "called by the trusted program's name" : "called by another name");
    int socket = -1;
    check(sd_bus_message_read_basic(message, 'h', &socket), "read the socket");
    requestConnection(systemsBus, socket, isOpened);
    return 1; // there is no answer
}

const sd_bus_vtable falseHelper[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Prove", "h", "", takeFalseProof, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

// It prints its address when it listens.
void startBus(const std::string& folder)
{
    const std::string command = "exec setpriv --pdeathsig KILL dbus-daemon --nofork "
                                "--print-address --config-file=" +
                                folder + "/bus.conf";
    FILE* const output = ::popen(command.c_str(), "r");
    std::array<char, 1024> address{};
    check(std::fgets(address.data(), address.size(), output) ? 0 : -EIO, "start a bus");
}

sd_bus* joinBusIn(const std::string& folder)
{
    sd_bus* bus = nullptr;
    check(sd_bus_new(&bus), "make a bus");
    check(sd_bus_set_address(bus, ("unix:path=" + folder + "/system_bus_socket").c_str()),
          "set the address");
    check(sd_bus_set_bus_client(bus, 1), "be a client");
    check(sd_bus_negotiate_fds(bus, 1), "take descriptors");
    check(sd_bus_start(bus), "start");
    return bus;
}

int numberIn(const std::string& uniqueName)
{
    return std::stoi(uniqueName.substr(uniqueName.find('.') + 1));
}

// The next program to join the false bus gets the name that it has on the system's.
void countUpNames(const std::string& folder)
{
    const int wanted = numberIn(nameOn(systemsBus));
    for (int last = numberIn(nameOn(falseBus)); last < wanted - 1;) {
        sd_bus* const counted = joinBusIn(folder);
        last = numberIn(nameOn(counted));
        sd_bus_flush_close_unref(counted);
    }
}

} // namespace

void relay(Fd socket, const std::string& folder)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    startBus(folder);
    systemsBus = join(std::move(socket));
    falseBus = joinBusIn(folder);
    check(sd_bus_request_name(falseBus, "com.veltra.agentMonitor.helper", 0), "own the name");
    check(sd_bus_add_object_vtable(falseBus, nullptr, "/com/veltra/agentMonitor/helper",
                                   "com.veltra.agentMonitor.Connections", falseHelper, nullptr),
          "add the false helper");
    countUpNames(folder);
    sd_event* loop = nullptr;
    check(sd_event_default(&loop), "make a loop");
    check(sd_bus_attach_event(systemsBus, loop, 0), "attach the system's bus");
    check(sd_bus_attach_event(falseBus, loop, 0), "attach the false bus");
    say("in wait");
    check(sd_event_loop(loop), "run the loop");
    std::_Exit(0);
}

} // namespace intruder
