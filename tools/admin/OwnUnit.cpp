#include "tools/admin/OwnUnit.h"

#include "platform/base/EventLoop.h"
#include "platform/base/ProcPath.h"
#include "platform/base/WriteAll.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/TransientUnits.h"
#include "tools/admin/AdminError.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include <systemd/sd-login.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr const char* unitName = "veltra-admin-tool";

// The unit of this process; empty if it is in none.
std::string ownUnit()
{
    char* unit = nullptr;
    if (::sd_pid_get_unit(0, &unit) < 0)
        return {};
    std::string name{unit};
    std::free(unit);
    return name;
}

/// Waits for the end of a unit and of its two streams.
class UnitRun {
  public:
    explicit UnitRun(EventLoop& loop) : loop_{loop} {}

    [[nodiscard]] Task task(std::string_view verb)
    {
        std::error_code ignored;
        return {.launchPath = std::filesystem::read_symlink(ownExecutablePath(), ignored),
                .arguments = {std::string{verb}},
                .environment = {},
                .standardOutput = [this](std::string_view piece) { takePiece(piece); },
                .standardError =
                    [this](std::string_view piece) {
                        message_ += piece;
                        takePiece(piece);
                    },
                .terminationHandler =
                    [this](int status) {
                        status_ = status;
                        awaitRest();
                    }};
    }

    void fail(const std::string& reason)
    {
        message_ = reason;
        loop_.stop();
    }

    [[nodiscard]] Result<int> ending() const
    {
        if (!status_)
            return Error{adminError(AdminError::unitsFailed), "run a unit", message_};
        static_cast<void>(writeAll(STDERR_FILENO, message_));
        return *status_;
    }

  private:
    void takePiece(std::string_view piece)
    {
        if (piece.empty())
            awaitRest();
    }

    void awaitRest()
    {
        if (--toAwait_ == 0)
            loop_.stop();
    }

    EventLoop& loop_;
    int toAwait_ = 3;
    std::optional<int> status_;
    std::string message_;
};

} // namespace

bool isOwnUnitNeeded()
{
    return TransientUnits::areAvailable() && !ownUnit().starts_with(unitName);
}

Result<int> runInOwnUnit(std::string_view verb)
{
    auto loop = EventLoop::open([](const std::exception&) {});
    if (!loop)
        return loop.error();
    auto bus = BusConnection::open();
    if (!bus)
        return bus.error();
    UnitRun run{*loop.value()};
    if (auto watched = bus.value()->setLossHandler([&] { run.fail("the bus has gone away"); });
        !watched)
        return watched.error();
    if (auto served = bus.value()->serveOn(*loop.value()); !served)
        return served.error();
    auto units = TransientUnits::open(*loop.value(), *bus.value(),
                                      {unitName, "The agent monitor's administration"});
    if (!units)
        return units.error();
    const auto onFailure = [&](const std::string& reason) { run.fail(reason); };
    if (auto launched = units.value()->launch(run.task(verb), onFailure); !launched)
        return launched.error();
    if (auto served = loop.value()->run(); !served)
        return served.error();
    return run.ending();
}

} // namespace veltra
