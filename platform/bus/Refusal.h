#pragma once

#include "platform/base/Error.h"

namespace veltra {

/// Why a caller on the bus is refused, apart from what is wrong with its process.
enum class Refusal {
    isUnknown = 1,
    hasLeft,
    asksTwice,
    isOneOfTooMany,
    bringsNoSocket,
    takesNoChallenge,
    provesNothing,
    provesWrongly,
    isAnotherProcess,
    isTooSlow,
    callsAnothers, ///< a connection of another program
};

/// An error whose whole text is that reason, as a clause about the caller.
[[nodiscard]] Error refusal(Refusal reason);

} // namespace veltra
