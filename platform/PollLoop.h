#pragma once

#include "platform/Error.h"
#include "platform/EventFd.h"
#include "platform/Fd.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace veltra {

/// Something with a descriptor and a will of its own that a PollLoop serves beside the rest, a
/// bus connection say. Called by the loop's thread.
class PollSource {
  public:
    struct Wish {
        int descriptor = -1;
        short events = 0;                                              ///< as poll(2) has them
        std::optional<std::chrono::steady_clock::time_point> deadline; ///< to be dispatched by then
        bool hasUnsent = false; ///< what it was given to send is more than the other side takes
    };

    PollSource() = default;
    PollSource(const PollSource&) = delete;
    PollSource& operator=(const PollSource&) = delete;
    virtual ~PollSource() = default;

    /// What it waits for now; asked before every wait.
    [[nodiscard]] virtual Wish wish() = 0;

    /// Does what can be done without waiting; called after every wait.
    virtual void dispatch() = 0;
};

/// Serves descriptors, timers and posted work on one thread, the one that calls run().
///
/// What handlers throw is logged and passed over. post() and stop() may be called from any thread,
/// all else is for the loop's thread, or for the one that sets the loop up before it runs.
class PollLoop {
  public:
    using Handler = std::function<void()>;

    /// When a descriptor is looked at.
    enum class Reading {
        always,
        whileAllIsSent, ///< not while the source has something unsent, which reading would add to
    };

    /// Keeps a descriptor or a timer registered. Move-only; must not outlive the loop, unless a
    /// handler holds it. A handler may end its own registration.
    class [[nodiscard]] Registration {
      public:
        Registration() = default;
        Registration(Registration&& other) noexcept;
        Registration& operator=(Registration&& other) noexcept;
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        ~Registration();

      private:
        friend class PollLoop;
        Registration(PollLoop* loop, std::uint64_t id) noexcept : loop_{loop}, id_{id} {}
        void end() noexcept;

        PollLoop* loop_ = nullptr;
        std::uint64_t id_ = 0;
    };

    [[nodiscard]] static Result<std::unique_ptr<PollLoop>> open();

    PollLoop(const PollLoop&) = delete;
    PollLoop& operator=(const PollLoop&) = delete;
    ~PollLoop();

    /// Serves until stop() is called. Can be called again after that.
    void run();

    /// Has run() return soon, or at once when it is called the next time.
    void stop();

    /// Runs `work` on the loop's thread, soon, in the order of posting. What is posted while the
    /// loop does not run waits until it does.
    void post(Handler work);

    /// Calls `onReadable` whenever `descriptor` is readable or its other end is closed. The
    /// descriptor must stay open as long as the registration lives. Fails when the system refuses
    /// to watch it, a plain file for example. See epoll_ctl(2).
    [[nodiscard]] Result<Registration> watch(int descriptor, Handler onReadable,
                                             Reading reading = Reading::always);

    /// Calls `handler` once, not before `delay` has passed.
    Registration callAfter(std::chrono::milliseconds delay, Handler handler);

    /// Serves `source` beside the rest; null ends that. It must outlive its service.
    void setSource(PollSource* source) noexcept { source_ = source; }

  private:
    using Clock = std::chrono::steady_clock;
    struct Watched {
        std::shared_ptr<const Handler> handler;
        int descriptor = -1; ///< none for a timer
        Reading reading = Reading::always;
    };

    PollLoop(EventFd wakeUp, Fd always, Fd whileAllIsSent);

    void wait();
    [[nodiscard]] int millisecondsToWait(const PollSource::Wish& wish) const;
    void runPosted();
    void runTimers();
    void serve(const Fd& watchedTogether);
    void call(std::uint64_t id);
    void forget(std::uint64_t id) noexcept;
    [[nodiscard]] const Fd& watchedTogether(Reading reading) const noexcept;

    EventFd wakeUp_;
    Fd always_; // descriptors of each kind of reading are watched together, see epoll(7)
    Fd whileAllIsSent_;
    PollSource* source_ = nullptr;
    std::map<std::uint64_t, Watched> watched_;
    std::multimap<Clock::time_point, std::uint64_t> timers_;
    std::uint64_t lastId_ = 0;

    std::mutex postedMutex_;
    std::vector<Handler> posted_; // guarded by the mutex, as is:
    bool isStopped_ = false;
};

} // namespace veltra
