#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventFd.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

struct sd_event;
struct sd_event_source;

namespace veltra {

/// Serves descriptors, timers, posted work and a bus connection on one thread, the one that calls
/// run(). See sd-event(3).
///
/// post() and stop() may be called from any thread. Everything else must be called on the loop's
/// thread or, before the loop runs, on the thread that sets it up.
class EventLoop {
    struct Source;

  public:
    using Handler = std::function<void()>;
    using ThrownHandler = std::function<void(const std::exception&)>;

    /// When the handler of a descriptor is called.
    enum class Notice {
        whileReadable, ///< again and again, until everything was read
        onArrival,     ///< when more has arrived or the other end is closed, whatever was read
    };

    /// Keeps a descriptor or a timer registered. Move-only. A handler may end its own registration.
    /// A registration that outlives the loop does nothing.
    class [[nodiscard]] Registration {
      public:
        Registration() = default;
        Registration(Registration&& other) noexcept = default;
        Registration& operator=(Registration&& other) noexcept;
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        ~Registration();

      private:
        friend class EventLoop;
        explicit Registration(std::weak_ptr<Source> source) noexcept : source_{std::move(source)} {}

        std::weak_ptr<Source> source_;
    };

    /// Exceptions from handlers are passed to `onThrown`, and the loop continues.
    [[nodiscard]] static Result<std::unique_ptr<EventLoop>> open(ThrownHandler onThrown);

    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;
    ~EventLoop();

    /// Serves until stop() is called. Can be called again after that. Fails if it cannot wait for
    /// events.
    [[nodiscard]] Result<> run();

    /// Makes run() return soon, or makes the next run() return at once if none is running.
    void stop();

    /// Runs `work` on the loop's thread, soon, in the order of posting. Work that is posted while
    /// the loop does not run waits until it runs.
    void post(Handler work);

    /// Calls `onReadable` when `descriptor` is readable or its other end is closed. The descriptor
    /// must stay open as long as the registration lives. Fails if the system cannot watch it, for
    /// example a regular file. See epoll_ctl(2).
    [[nodiscard]] Result<Registration> watch(int descriptor, Handler onReadable,
                                             Notice notice = Notice::whileReadable);

    /// Calls `handler` once, after `delay` or later.
    Registration callAfter(std::chrono::milliseconds delay, Handler handler);

    /// The library's loop, for code that registers with it directly. Lives as long as this object.
    [[nodiscard]] sd_event* handle() const noexcept { return event_.get(); }

  private:
    struct Unref {
        void operator()(sd_event* event) const noexcept;
        void operator()(sd_event_source* source) const noexcept;
    };
    using EventHandle = std::unique_ptr<sd_event, Unref>;
    using SourceHandle = std::unique_ptr<sd_event_source, Unref>;

    EventLoop(EventHandle event, EventFd wakeUp, ThrownHandler onThrown);

    [[nodiscard]] int prepare();
    [[nodiscard]] bool takeStop();
    void runGuarded(const Handler& handler);
    void runPosted();
    Registration add(const std::shared_ptr<Source>& source);
    void forget(const Source& source) noexcept;

    EventHandle event_;
    EventFd wakeUp_;
    ThrownHandler onThrown_;
    SourceHandle wakeUpSource_;
    SourceHandle clock_;
    std::unordered_map<const Source*, std::shared_ptr<Source>> sources_;

    std::mutex postedMutex_;
    std::vector<Handler> posted_; // guarded by the mutex, like isStopped_
    bool isStopped_ = false;
};

} // namespace veltra
