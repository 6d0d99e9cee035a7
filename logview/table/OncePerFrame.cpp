#include "logview/table/OncePerFrame.h"

#include <utility>

namespace veltra {

OncePerFrame::OncePerFrame(std::function<void()> action) : action_{std::move(action)}
{
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    connect(&timer_, &QTimer::timeout, this, &OncePerFrame::run);
}

void OncePerFrame::request()
{
    const auto now = Clock::now();
    if (now >= next_)
        run();
    else if (!timer_.isActive())
        timer_.start(std::chrono::ceil<std::chrono::milliseconds>(next_ - now));
}

void OncePerFrame::run()
{
    timer_.stop();
    next_ = Clock::now() + frame;
    action_();
}

} // namespace veltra
