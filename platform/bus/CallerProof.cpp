#include "platform/bus/CallerProof.h"

#include "platform/bus/CallerChallenge.h"
#include "platform/bus/ConnectionNames.h"

#include <utility>

namespace veltra {

using namespace connections;

CallerProof::CallerProof(EventLoop& loop, BusConnection& bus, std::string service)
    : loop_{loop}, bus_{bus}, service_{std::move(service)}
{
}

void CallerProof::give(Handler onEnd)
{
    if (isKnown_) {
        onEnd(std::nullopt);
        return;
    }
    waiting_.push_back(std::move(onEnd));
    if (waiting_.size() > 1)
        return;
    if (const auto asked = ask(); !asked)
        end(BusError{failedError, asked.error().message()});
}

Result<> CallerProof::ask()
{
    auto sockets = ChallengeSockets::make();
    if (!sockets)
        return sockets.error();
    socket_ = std::move(sockets.value().ours);
    auto watch = loop_.watch(socket_.get(), [this] {
        answerChallenge(socket_, bus_.uniqueName());
        challenge_ = {};
    });
    if (!watch)
        return watch.error();
    challenge_ = std::move(watch.value());
    auto question = bus_.methodCall(service_, rootPath(service_), connectionsInterface, "Prove");
    auto sent = bus_.call(question.append(sockets.value().theirs),
                          [this](BusMessage& answer) { takeAnswer(answer); });
    if (!sent)
        return sent.error();
    question_ = std::move(sent.value());
    return success;
}

void CallerProof::takeAnswer(const BusMessage& answer)
{
    const auto refusal = answer.error();
    isKnown_ = !refusal;
    end(refusal);
}

// A handler may ask again.
void CallerProof::end(const std::optional<BusError>& refusal)
{
    challenge_ = {};
    socket_ = {};
    for (const Handler& handler : std::exchange(waiting_, {}))
        handler(refusal);
}

} // namespace veltra
