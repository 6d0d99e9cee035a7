#pragma once

#include "platform/CallerChallenge.h"
#include "platform/PinnedProcess.h"
#include "platform/PollLoop.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

#include <sdbus-c++/sdbus-c++.h>

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
        std::shared_ptr<PollLoop> loop;
        sdbus::IConnection* bus = nullptr;
        sdbus::IProxy* busDaemon = nullptr; ///< the bus's own object
        pid_t busDaemonProcess = 0;
        /// Looks at a process ahead of time. Called on a thread of its own.
        std::function<void(const std::shared_ptr<const PinnedProcess>&)> examine;
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

    void askForCredentials();
    void takeCredentials(pid_t process, uid_t user);
    void examine();
    void takeExamined(const Examined& examined);
    void askWhetherNameLives();
    void challenge();
    void takeAnswer();
    void settle(const std::string& refusal);

    Setting setting_;
    CallerChallenge::Caller caller_;
    Handler onEnd_;
    bool isCounted_ = false;
    PollLoop::Registration deadline_;
    Process process_;
    std::optional<CallerChallenge> challenge_;
    PollLoop::Registration answer_;
};

} // namespace veltra
