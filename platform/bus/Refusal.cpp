#include "platform/bus/Refusal.h"

#include <string>
#include <system_error>

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
    }
    return "unknown reason";
}

class RefusalCategory : public std::error_category {
  public:
    [[nodiscard]] const char* name() const noexcept override { return "refusal"; }

    [[nodiscard]] std::string message(int reason) const override
    {
        return textOf(static_cast<Refusal>(reason));
    }
};

} // namespace

Error refusal(Refusal reason)
{
    static const RefusalCategory category;
    return Error{{static_cast<int>(reason), category}, {}};
}

} // namespace veltra
