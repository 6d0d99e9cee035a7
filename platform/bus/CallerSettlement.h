#pragma once

#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/CallerChallenge.h"
#include "platform/process/PinnedProcess.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace veltra {

/// Finds out which process a name on the bus belongs to, whether it may be trusted to be the
/// program that it runs, and whether it really is the one that speaks.
///
/// Nothing of it waits: what reads files goes on on a thread of its own, which a file system may
/// hold up for ever; after `patience` the caller is refused whatever else is under way. All
/// functions, and the handlers, are called on the loop's thread.
class CallerSettlement : public std::enable_shared_from_this<CallerSettlement> {
  public:
    /// What all settlements of a listener have in common.
    struct Setting {
        std::shared_ptr<EventLoop> loop;
        BusConnection* bus = nullptr;
        pid_t busDaemonProcess = 0;
        /// Looks at a process ahead of time. Called on a thread of its own.
        std::function<void(const std::shared_ptr<const PinnedProcess>&)> examine;
        bool takesPidfds = true; ///< uses the processes that the bus hands out, where it does
        /// How many settlements go on for each user.
        std::shared_ptr<std::map<uid_t, int>> underWay;
    };
    using Process = std::shared_ptr<const PinnedProcess>;
    /// Gets the process, or else why the caller is refused.
    using Handler = std::function<void(const Process& process, const std::string& refusal)>;

    static constexpr std::chrono::milliseconds patience{5000};
    static constexpr int mostForOneUser = 128;

    CallerSettlement(Setting setting, std::string uniqueName);
    CallerSettlement(const CallerSettlement&) = delete;
    CallerSettlement& operator=(const CallerSettlement&) = delete;
    ~CallerSettlement();

    /// Begins; `onEnd` is called once, later, unless the settlement is destroyed before.
    void start(Handler onEnd);

  private:
    struct Examined {
        Process process;
        std::string objection;
    };
    using AnswerHandler = void (CallerSettlement::*)(BusMessage&);

    void askBus(const char* method, AnswerHandler take);
    void takeCredentials(BusMessage& answer);
    void examine(Fd pidfd);
    void takeExamined(const Examined& examined);
    void takeWhetherNameLives(BusMessage& answer);
    void challenge();
    void takeAnswer();
    void settle(const std::string& refusal);

    Setting setting_;
    CallerChallenge::Caller caller_;
    Handler onEnd_;
    bool isCounted_ = false;
    EventLoop::Registration deadline_;
    BusSlot question_;
    bool isPinnedByBus_ = false;
    Process process_;
    std::optional<CallerChallenge> challenge_;
    EventLoop::Registration answer_;
};

} // namespace veltra
