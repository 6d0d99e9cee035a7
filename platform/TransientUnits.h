#pragma once

#include "platform/Error.h"
#include "platform/PollLoop.h"
#include "platform/Task.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <sdbus-c++/sdbus-c++.h>

namespace veltra {

/// Runs programs as units of systemd's own, so that nothing that confines this process confines
/// them. Everything belongs on the thread that serves the bus. See org.freedesktop.systemd1(5).
class TransientUnits {
  public:
    /// Whether systemd runs this machine; see sd_booted(3).
    [[nodiscard]] static bool areAvailable();

    /// `loop` must outlive this. Throws an sdbus::Error when systemd cannot be listened to.
    TransientUnits(PollLoop& loop, std::shared_ptr<sdbus::IConnection> bus);
    TransientUnits(const TransientUnits&) = delete;
    TransientUnits& operator=(const TransientUnits&) = delete;
    ~TransientUnits() = default;

    /// Starts the task's program as launch() does, but as a unit: with /dev/null as its input, and
    /// nothing in its environment but what the task says. Whatever keeps it from being started is
    /// an error here, or else given to `onFailure` later, instead of a termination.
    [[nodiscard]] Result<std::monostate> launch(const Task& task,
                                                std::function<void(const std::string&)> onFailure);

  private:
    using Properties = std::map<std::string, sdbus::Variant>;
    struct Unit {
        std::string name;
        std::function<void(int)> terminationHandler;
        std::function<void(const std::string&)> onFailure;
    };

    void request(const std::string& path, const Task& task, Fd output, Fd error);
    void takeChange(const std::string& path, const Properties& changed);
    std::optional<Unit> take(const std::string& path);
    void fail(const std::string& path, const std::string& reason);

    PollLoop& loop_;
    std::shared_ptr<sdbus::IConnection> bus_;
    std::unique_ptr<sdbus::IProxy> manager_;
    std::map<std::string, Unit> units_; // by their paths
    sdbus::Slot changes_;
    std::uint64_t lastUnit_ = 0;
};

} // namespace veltra
