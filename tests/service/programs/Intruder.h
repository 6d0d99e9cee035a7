#pragma once

#include "platform/base/Fd.h"

#include <cstdint>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

/// What every attacker needs to talk to the helper as a client does.
namespace intruder {

struct Challenge {
    veltra::Fd socket;
    std::vector<std::uint8_t> nonce;
    std::string uniqueName;
};

/// What to do with a challenge that arrives; nothing if null.
using Answer = void (*)(const Challenge&);

/// Prints a line immediately.
void say(const std::string& line);

/// Prints the reason and ends the process if a result is a negative error number.
void check(int result, const char* what);

/// The same for functions that set errno.
void checkLast(bool isDone, const char* what);

/// A socket that the system's bus attributes to the calling process from then on, whoever uses it.
[[nodiscard]] veltra::Fd connectToBus();

/// Says hello on the socket, and passes challenges that arrive to `answer`.
[[nodiscard]] sd_bus* join(veltra::Fd socket, Answer answer);

/// Asks the helper for a connection; "granted PATH" or "refused WHY" is printed when the bus is
/// processed, and `isDone` is set.
void requestConnection(sd_bus* bus, bool& isDone);

/// Does all of that, and stays on the bus.
void askToBeLetIn(veltra::Fd socket, Answer answer);

} // namespace intruder
