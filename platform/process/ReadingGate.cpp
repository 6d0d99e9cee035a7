#include "platform/process/ReadingGate.h"

#include <utility>

namespace veltra {

ReadingGate::ReadingGate(EventLoop& loop, std::function<bool()> isOpen)
    : loop_{loop}, isOpen_{std::move(isOpen)}
{
}

void ReadingGate::whenOpen(std::function<void()> read)
{
    waiting_.push_back(std::move(read));
    takeTurn();
}

void ReadingGate::takeTurn()
{
    if (waiting_.empty() || std::exchange(isTurnPosted_, true))
        return;
    loop_.post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->letOneThrough();
    });
}

void ReadingGate::letOneThrough()
{
    isTurnPosted_ = false;
    if (!isOpen_())
        return;
    const auto read = std::move(waiting_.front());
    waiting_.pop_front();
    takeTurn();
    read();
}

} // namespace veltra
