#include "platform/bus/Refusal.h"

#include "platform/base/TextCategory.h"

#include <string>

namespace veltra {

namespace {

const char* textOf(Refusal reason)
{
    switch (reason) {
    case Refusal::isUnknown:
        return "the bus does not know who it is";
    case Refusal::hasLeft:
        return "it has left the bus";
    case Refusal::asksTwice:
        return "it asks again before it has proved which process it is";
    case Refusal::isOneOfTooMany:
        return "too many of the same user ask at once";
    case Refusal::bringsNoSocket:
        return "it brings no socket to prove itself on";
    case Refusal::takesNoChallenge:
        return "it takes no challenge";
    case Refusal::provesNothing:
        return "it does not prove which process it is";
    case Refusal::provesWrongly:
        return "it proves wrongly which process it is";
    case Refusal::isAnotherProcess:
        return "another process answers for it";
    case Refusal::isTooSlow:
        return "it does not answer in time";
    case Refusal::callsAnothers:
        return "this connection is somebody else's";
    }
    return "unknown reason";
}

} // namespace

Error refusal(Refusal reason)
{
    static const TextCategory category{
        "refusal", [](int value) -> std::string { return textOf(static_cast<Refusal>(value)); }};
    return Error{{static_cast<int>(reason), category}, {}};
}

} // namespace veltra
