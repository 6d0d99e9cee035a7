#pragma once

#include "platform/base/Fd.h"

#include <cstdint>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

/// What every attacker needs who speaks to the helper as a client does.
namespace intruder {

struct Challenge {
    veltra::Fd socket;
    std::vector<std::uint8_t> nonce;
    std::string uniqueName;
};

/// What is done with a challenge that arrives; nothing when null.
using Answer = void (*)(const Challenge&);

/// Prints a line at once.
void say(const std::string& line);

/// Says why, and ends the process, when a result is a negative error number.
void check(int result, const char* what);

/// The same for what sets errno.
void checkLast(bool isDone, const char* what);

/// A socket that the system's bus takes for the calling process's from then on, whoever uses it.
[[nodiscard]] veltra::Fd connectToBus();

/// Says hello on the socket, and gives challenges that come to `answer`.
[[nodiscard]] sd_bus* join(veltra::Fd socket, Answer answer);

/// Asks the helper for a connection; "granted PATH" or "refused WHY" is said when the bus is
/// processed, and `isDone` set.
void requestConnection(sd_bus* bus, bool& isDone);

/// Does all of that, and stays on the bus.
void askToBeLetIn(veltra::Fd socket, Answer answer);

} // namespace intruder
