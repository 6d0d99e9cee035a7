#include "platform/PollLoop.h"

#include "platform/SystemLog.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include <poll.h>
#include <sys/epoll.h>

namespace veltra {

namespace {

void runGuarded(const PollLoop::Handler& handler)
{
    try {
        handler();
    } catch (const std::exception& error) {
        SystemLog::log({"the error is ", error.what()});
    }
}

} // namespace

PollLoop::Registration::Registration(Registration&& other) noexcept
    : loop_{std::exchange(other.loop_, nullptr)}, id_{other.id_}
{
}

PollLoop::Registration& PollLoop::Registration::operator=(Registration&& other) noexcept
{
    if (this != &other) {
        end();
        loop_ = std::exchange(other.loop_, nullptr);
        id_ = other.id_;
    }
    return *this;
}

PollLoop::Registration::~Registration()
{
    end();
}

void PollLoop::Registration::end() noexcept
{
    if (loop_)
        std::exchange(loop_, nullptr)->forget(id_);
}

Result<std::unique_ptr<PollLoop>> PollLoop::open()
{
    auto wakeUp = EventFd::open();
    if (!wakeUp)
        return wakeUp.error();
    Fd always{::epoll_create1(EPOLL_CLOEXEC)};
    Fd whileAllIsSent{::epoll_create1(EPOLL_CLOEXEC)};
    if (!always || !whileAllIsSent)
        return Error::last("make event poll descriptor");

    return std::unique_ptr<PollLoop>{
        new PollLoop{std::move(wakeUp.value()), std::move(always), std::move(whileAllIsSent)}};
}

PollLoop::PollLoop(EventFd wakeUp, Fd always, Fd whileAllIsSent)
    : wakeUp_{std::move(wakeUp)}, always_{std::move(always)}, whileAllIsSent_{
                                                                  std::move(whileAllIsSent)}
{
}

// Handlers may hold registrations, which end with them.
PollLoop::~PollLoop()
{
    const auto watched = std::exchange(watched_, {});
}

void PollLoop::run()
{
    const auto isStopped = [this] {
        const std::lock_guard lock{postedMutex_};
        return std::exchange(isStopped_, false);
    };
    while (!isStopped()) {
        if (source_)
            runGuarded([this] { source_->dispatch(); });
        runPosted();
        runTimers();
        wait();
    }
}

void PollLoop::stop()
{
    const std::lock_guard lock{postedMutex_};
    isStopped_ = true;
    wakeUp_.signal();
}

void PollLoop::post(Handler work)
{
    const std::lock_guard lock{postedMutex_};
    posted_.push_back(std::move(work));
    wakeUp_.signal();
}

Result<PollLoop::Registration> PollLoop::watch(int descriptor, Handler onReadable, Reading reading)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = ++lastId_;
    if (::epoll_ctl(watchedTogether(reading).get(), EPOLL_CTL_ADD, descriptor, &event) != 0)
        return Error::last("watch descriptor");

    watched_[lastId_] = {std::make_shared<const Handler>(std::move(onReadable)), descriptor,
                         reading};
    return Registration{this, lastId_};
}

PollLoop::Registration PollLoop::callAfter(std::chrono::milliseconds delay, Handler handler)
{
    watched_[++lastId_] = {.handler = std::make_shared<const Handler>(std::move(handler))};
    timers_.emplace(Clock::now() + delay, lastId_);
    return {this, lastId_};
}

void PollLoop::wait()
{
    const PollSource::Wish wish = source_ ? source_->wish() : PollSource::Wish{};
    std::array<pollfd, 4> polled{pollfd{wakeUp_.descriptor(), POLLIN, 0},
                                 pollfd{always_.get(), POLLIN, 0},
                                 pollfd{wish.hasUnsent ? -1 : whileAllIsSent_.get(), POLLIN, 0},
                                 pollfd{wish.descriptor, wish.events, 0}};
    if (::poll(polled.data(), polled.size(), millisecondsToWait(wish)) <= 0)
        return;

    if (polled[0].revents != 0)
        wakeUp_.clear();
    if (polled[1].revents != 0)
        serve(always_);
    if (polled[2].revents != 0)
        serve(whileAllIsSent_);
}

// Rounded up, so that a timer that is due a moment later is not waited for again and again.
int PollLoop::millisecondsToWait(const PollSource::Wish& wish) const
{
    auto until = wish.deadline.value_or(Clock::time_point::max());
    if (!timers_.empty())
        until = std::min(until, timers_.begin()->first);
    if (until == Clock::time_point::max())
        return -1;

    constexpr auto longest = std::chrono::milliseconds{std::chrono::hours{1}};
    const auto left = std::clamp<Clock::duration>(until - Clock::now(), {}, longest);
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count());
}

void PollLoop::runPosted()
{
    std::vector<Handler> works;
    {
        const std::lock_guard lock{postedMutex_};
        works.swap(posted_);
    }
    for (const Handler& work : works)
        runGuarded(work);
}

void PollLoop::runTimers()
{
    const auto now = Clock::now();
    while (!timers_.empty() && timers_.begin()->first <= now) {
        const std::uint64_t id = timers_.begin()->second;
        timers_.erase(timers_.begin());
        call(id);
        watched_.erase(id);
    }
}

void PollLoop::serve(const Fd& watchedTogether)
{
    std::array<epoll_event, 64> events{};
    const int count = ::epoll_wait(watchedTogether.get(), events.data(), events.size(), 0);
    for (int i = 0; i < count; ++i)
        call(events.at(static_cast<std::size_t>(i)).data.u64);
}

// One that a handler before it has ended is not called any more.
void PollLoop::call(std::uint64_t id)
{
    const auto found = watched_.find(id);
    if (found == watched_.end())
        return;
    const auto handler = found->second.handler;
    runGuarded(*handler);
}

void PollLoop::forget(std::uint64_t id) noexcept
{
    const auto found = watched_.find(id);
    if (found == watched_.end())
        return;
    if (found->second.descriptor >= 0)
        ::epoll_ctl(watchedTogether(found->second.reading).get(), EPOLL_CTL_DEL,
                    found->second.descriptor, nullptr);
    watched_.erase(found);
}

const Fd& PollLoop::watchedTogether(Reading reading) const noexcept
{
    return reading == Reading::always ? always_ : whileAllIsSent_;
}

} // namespace veltra
