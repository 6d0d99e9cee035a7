#pragma once

#include "platform/base/Error.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/PolkitAction.h"
#include "platform/rights/RegisteredProcess.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

namespace veltra {

enum class PolkitAnswer {
    authorized,
    denied,
    dismissed,        ///< by the user
    needsInteraction, ///< somebody has to be asked, and may not or cannot be
};

/// A line to polkit: a connection of its own to the system bus, for one thread. When it ends, so
/// does a dialog that is open for it.
///
/// A function that opens no dialog waits 5 s for its answer at most. See polkit(8).
class PolkitAuthority {
  public:
    /// Whose authorization is asked about.
    using Subject = std::tuple<
        std::string,
        std::map<std::string, BusVariant<std::int32_t, std::uint32_t, std::uint64_t, std::string>>>;

    enum class Interaction { none, allowed };

    [[nodiscard]] static Result<PolkitAuthority> open();

    /// This process. What it gains, a program that it starts with pkexec finds gained.
    [[nodiscard]] Subject self() const;

    /// Another process: of the same user, or anybody's for root. polkit believes the user.
    [[nodiscard]] static Subject subject(const RegisteredProcess& process);

    /// The action with an annotation of that value; none when a reply came and held no such.
    [[nodiscard]] Result<std::optional<PolkitAction>> findAction(const std::string& annotation,
                                                                 const std::string& value);

    /// Whether the subject is authorized for an action. With interaction it waits for as long as
    /// the user takes to answer. An action that does not exist is an error.
    [[nodiscard]] Result<PolkitAnswer> check(const Subject& subject, const std::string& action,
                                             Interaction interaction);

  private:
    explicit PolkitAuthority(std::unique_ptr<BusConnection> bus) noexcept : bus_{std::move(bus)} {}

    template <typename... Results, typename... Arguments>
    [[nodiscard]] Result<std::tuple<Results...>>
    ask(const char* method, BusConnection::Patience patience, const Arguments&... arguments);

    std::unique_ptr<BusConnection> bus_;
};

} // namespace veltra
