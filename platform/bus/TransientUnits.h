#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventLoop.h"
#include "platform/bus/BusConnection.h"
#include "platform/process/Task.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace veltra {

/// Runs programs as separate systemd units, so that this process's confinement does not apply to
/// them. Use it on the thread that serves the bus. See org.freedesktop.systemd1(5).
///
/// How a unit ends is believed only from the owner of systemd's name, which must belong to root.
class TransientUnits {
  public:
    /// Whether systemd is the init system of this machine; see sd_booted(3).
    [[nodiscard]] static bool areAvailable();

    /// How the units are called.
    struct Naming {
        std::string name; ///< followed by numbers
        std::string description;
    };

    /// Fails if systemd's signals cannot be received. `loop` and `bus` must outlive this object,
    /// and `loop` must serve `bus`.
    [[nodiscard]] static Result<std::unique_ptr<TransientUnits>>
    open(EventLoop& loop, BusConnection& bus, Naming naming);
    TransientUnits(const TransientUnits&) = delete;
    TransientUnits& operator=(const TransientUnits&) = delete;
    ~TransientUnits() = default;

    /// Starts the task's program like launch(), but as a unit: with /dev/null as its input and only
    /// the task's environment. A failure to start is returned here as an error, or passed to
    /// `onFailure` later, instead of a termination.
    [[nodiscard]] Result<> launch(const Task& task,
                                  std::function<void(const std::string&)> onFailure);

  private:
    using Properties = std::map<std::string, BusVariant<std::int32_t, std::uint64_t, std::string>>;
    struct Unit {
        std::string name;
        std::function<void(int)> terminationHandler;
        std::function<void(const std::string&)> onFailure;
        BusSlot request;
        BusSlot question; // how the unit is
    };

    TransientUnits(EventLoop& loop, BusConnection& bus, Naming naming)
        : loop_{loop}, bus_{bus}, naming_{std::move(naming)}
    {
    }

    [[nodiscard]] Result<> watchOwner();
    [[nodiscard]] Result<> listen();
    void takeOwner(const std::string& owner);
    void ask(const std::string& path);
    [[nodiscard]] Result<> request(const std::string& path, const Task& task, Fd output, Fd error);
    void takeChange(const std::string& path, Properties changed);
    std::optional<Unit> take(const std::string& path);
    void fail(const std::string& path, const std::string& reason);

    EventLoop& loop_;
    BusConnection& bus_;
    Naming naming_;
    std::map<std::string, Unit> units_; // by their paths
    BusSlot owners_;
    BusSlot changes_;
    std::uint64_t lastUnit_ = 0;
};

} // namespace veltra
