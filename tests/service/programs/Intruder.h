#pragma once

#include "platform/base/Fd.h"

#include <string>

#include <systemd/sd-bus.h>

/// What every attacker needs to talk to the helper as a client does.
namespace intruder {

/// What to do when a challenge has arrived at `socket`, which must not be closed, for the program
/// that is called `uniqueName` on the bus; nothing if null.
using Answer = void (*)(const veltra::Fd& socket, const std::string& uniqueName);

/// Prints a line immediately.
void say(const std::string& line);

/// Prints the reason and ends the process if a result is a negative error number.
void check(int result, const char* what);

/// The same for functions that set errno.
void checkLast(bool isDone, const char* what);

/// A socket that the system's bus attributes to the calling process from then on, whoever uses it.
[[nodiscard]] veltra::Fd connectToBus();

/// Says hello on the socket.
[[nodiscard]] sd_bus* join(veltra::Fd socket);

[[nodiscard]] std::string nameOn(sd_bus* bus);

/// Asks the helper for a connection, to be proved on `socket`; "granted PATH" or "refused WHY" is
/// printed when the bus is processed, and `isDone` is set.
void requestConnection(sd_bus* bus, int socket, bool& isDone);

/// Does that with the end `theirs` of a pair whose other end is `ours`, and stays on the bus.
[[noreturn]] void askToBeLetIn(sd_bus* bus, const veltra::Fd& ours, const veltra::Fd& theirs,
                               Answer answer);

} // namespace intruder
