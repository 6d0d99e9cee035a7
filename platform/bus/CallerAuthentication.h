#pragma once

#include "platform/base/EventLoop.h"
#include "platform/base/FairWorkers.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/CallerChallenge.h"
#include "platform/process/PinnedProcess.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace veltra {

/// Finds out which process a name on the bus belongs to, whether that process can be trusted to be
/// the program that it runs, and whether it really is the one that sends.
///
/// Nothing here blocks: files are read on separate threads, because a file system may block such a
/// thread for ever. After `patience`, the caller is refused whatever else is still going on. All
/// functions and handlers are called on the loop's thread.
class CallerAuthentication : public std::enable_shared_from_this<CallerAuthentication> {
  public:
    /// What all authentications of a listener share.
    struct Setting {
        std::shared_ptr<EventLoop> loop;
        BusConnection* bus = nullptr;
        pid_t busDaemonProcess = 0;
        /// Examines a process in advance. Called on a separate thread.
        std::function<void(const std::shared_ptr<const PinnedProcess>&)> examine;
        /// The threads that examine callers. Each caller has one of his user's places until his
        /// authentication has ended and his examination too.
        std::shared_ptr<FairWorkers> workers;
        bool takesPidfds = true; ///< uses the pidfds that the bus provides, if it does
    };
    using Process = std::shared_ptr<const PinnedProcess>;
    /// Receives the process, or the reason why the caller is refused.
    using Handler = std::function<void(const Result<Process>& process)>;

    static constexpr std::chrono::milliseconds patience{5000};
    static constexpr std::size_t mostThreads = 16;
    static constexpr std::size_t mostForOneUser = 32;

    /// `socket` is where the caller answers.
    CallerAuthentication(Setting setting, std::string uniqueName, Fd socket);
    CallerAuthentication(const CallerAuthentication&) = delete;
    CallerAuthentication& operator=(const CallerAuthentication&) = delete;
    ~CallerAuthentication() = default;

    /// What is known so far about the caller.
    [[nodiscard]] const CallerChallenge::Caller& caller() const noexcept { return caller_; }

    /// Starts; `onEnd` is called once, later, unless the authentication is destroyed first.
    void start(Handler onEnd);

  private:
    using AnswerHandler = void (CallerAuthentication::*)(BusMessage&);

    void askBus(const char* method, AnswerHandler take);
    void takeCredentials(BusMessage& answer);
    void examine(Fd pidfd);
    void takeExamined(const Result<Process>& examined);
    void takeWhetherNameLives(BusMessage& answer);
    void challenge();
    void takeAnswer();
    void finish(const Result<Process>& outcome);

    Setting setting_;
    CallerChallenge::Caller caller_;
    Fd socket_;
    Handler onEnd_;
    FairWorkers::Place place_;
    EventLoop::Registration deadline_;
    BusSlot question_;
    bool isPinnedByBus_ = false;
    Process process_;
    std::optional<CallerChallenge> challenge_;
    EventLoop::Registration answer_;
};

} // namespace veltra
