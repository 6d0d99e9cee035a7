#include "platform/base/EventLoop.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <new>
#include <utility>

#include <sys/epoll.h>
#include <systemd/sd-event.h>

namespace veltra {

namespace {

constexpr std::uint64_t forEver = UINT64_MAX;

Error failure(int negative, const char* action)
{
    return Error{{-negative, std::generic_category()}, action};
}

} // namespace

/// A descriptor or a timer that the library watches.
struct EventLoop::Source : std::enable_shared_from_this<Source> {
    Source(EventLoop& watchingLoop, Handler onEvent)
        : loop{watchingLoop}, handler{std::move(onEvent)}
    {
    }

    // The source stays alive during the call, whatever its handler ends.
    static int readable(sd_event_source*, int, std::uint32_t, void* source) noexcept
    {
        const auto self = static_cast<Source*>(source)->shared_from_this();
        self->loop.runGuarded(self->handler);
        return 0;
    }

    static int elapsed(sd_event_source*, std::uint64_t, void* source) noexcept
    {
        const auto self = static_cast<Source*>(source)->shared_from_this();
        self->loop.forget(*self);
        self->loop.runGuarded(self->handler);
        return 0;
    }

    EventLoop& loop;
    Handler handler;
    SourceHandle registered;
};

EventLoop::Registration& EventLoop::Registration::operator=(Registration&& other) noexcept
{
    const Registration ended{std::exchange(source_, {})};
    source_ = std::exchange(other.source_, {});
    return *this;
}

EventLoop::Registration::~Registration()
{
    if (const auto source = source_.lock())
        source->loop.forget(*source);
}

Result<std::unique_ptr<EventLoop>> EventLoop::open(ThrownHandler onThrown)
{
    auto wakeUp = EventFd::open();
    if (!wakeUp)
        return wakeUp.error();
    sd_event* event = nullptr;
    if (const int result = ::sd_event_new(&event); result < 0)
        return failure(result, "make event loop");

    std::unique_ptr<EventLoop> loop{
        new EventLoop{EventHandle{event}, std::move(wakeUp.value()), std::move(onThrown)}};
    if (const int result = loop->prepare(); result < 0)
        return failure(result, "make event loop");
    return loop;
}

EventLoop::EventLoop(EventHandle event, EventFd wakeUp, ThrownHandler onThrown)
    : event_{std::move(event)}, wakeUp_{std::move(wakeUp)}, onThrown_{std::move(onThrown)}
{
}

int EventLoop::prepare()
{
    sd_event_source* source = nullptr;
    int result = ::sd_event_add_io(
        event_.get(), &source, wakeUp_.descriptor(), EPOLLIN,
        [](sd_event_source*, int, std::uint32_t, void* loop) {
            static_cast<EventLoop*>(loop)->runPosted();
            return 0;
        },
        this);
    wakeUpSource_.reset(source);
    // Creates the descriptor that all timers need now, so that they cannot fail later for lack of
    // one.
    sd_event_source* clock = nullptr;
    if (result >= 0)
        result = ::sd_event_add_time(event_.get(), &clock, CLOCK_MONOTONIC, forEver, 0, nullptr,
                                     nullptr);
    clock_.reset(clock);
    return result < 0 ? result : ::sd_event_source_set_enabled(clock, SD_EVENT_OFF);
}

// Handlers may own registrations, which are destroyed with them.
EventLoop::~EventLoop()
{
    const auto sources = std::exchange(sources_, {});
}

Result<> EventLoop::run()
{
    while (!takeStop())
        if (const int result = ::sd_event_run(event_.get(), forEver); result < 0)
            return failure(result, "wait for events");
    return success;
}

void EventLoop::stop()
{
    const std::lock_guard lock{postedMutex_};
    isStopped_ = true;
    wakeUp_.signal();
}

bool EventLoop::takeStop()
{
    const std::lock_guard lock{postedMutex_};
    return std::exchange(isStopped_, false);
}

void EventLoop::post(Handler work)
{
    const std::lock_guard lock{postedMutex_};
    posted_.push_back(std::move(work));
    wakeUp_.signal();
}

Result<EventLoop::Registration> EventLoop::watch(int descriptor, Handler onReadable, Notice notice)
{
    const auto source = std::make_shared<Source>(*this, std::move(onReadable));
    const std::uint32_t events = notice == Notice::onArrival ? EPOLLIN | EPOLLET : EPOLLIN;
    sd_event_source* registered = nullptr;
    if (const int result = ::sd_event_add_io(event_.get(), &registered, descriptor, events,
                                             &Source::readable, source.get());
        result < 0)
        return failure(result, "watch descriptor");

    source->registered.reset(registered);
    return add(source);
}

EventLoop::Registration EventLoop::callAfter(std::chrono::milliseconds delay, Handler handler)
{
    using Microseconds = std::chrono::duration<std::uint64_t, std::micro>;
    constexpr std::uint64_t exactly = 1;
    const auto source = std::make_shared<Source>(*this, std::move(handler));
    sd_event_source* registered = nullptr;
    if (::sd_event_add_time_relative(event_.get(), &registered, CLOCK_MONOTONIC,
                                     Microseconds{delay}.count(), exactly, &Source::elapsed,
                                     source.get()) < 0)
        throw std::bad_alloc{};

    source->registered.reset(registered);
    return add(source);
}

EventLoop::Registration EventLoop::add(const std::shared_ptr<Source>& source)
{
    sources_.emplace(source.get(), source);
    return Registration{source};
}

void EventLoop::forget(const Source& source) noexcept
{
    sources_.erase(&source);
}

void EventLoop::runGuarded(const Handler& handler)
{
    try {
        handler();
    } catch (const std::exception& error) {
        onThrown_(error);
    }
}

void EventLoop::runPosted()
{
    std::vector<Handler> works;
    {
        const std::lock_guard lock{postedMutex_};
        wakeUp_.clear();
        works.swap(posted_);
    }
    for (const Handler& work : works)
        runGuarded(work);
}

void EventLoop::Unref::operator()(sd_event* event) const noexcept
{
    ::sd_event_unref(event);
}

void EventLoop::Unref::operator()(sd_event_source* source) const noexcept
{
    ::sd_event_source_unref(source);
}

} // namespace veltra
