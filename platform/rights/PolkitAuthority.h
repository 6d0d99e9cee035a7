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
    needsInteraction, ///< somebody has to be asked, but may not or cannot be
};

/// A separate connection to polkit over the system bus, for one thread. When it is closed, polkit
/// also closes a dialog that it has open.
///
/// Functions that open no dialog wait at most 5 s for their reply. See polkit(8).
class PolkitAuthority {
  public:
    /// The process whose authorization is checked.
    using Subject = std::tuple<
        std::string,
        std::map<std::string, BusVariant<std::int32_t, std::uint32_t, std::uint64_t, std::string>>>;

    enum class Interaction { none, allowed };

    [[nodiscard]] static Result<PolkitAuthority> open();

    /// This process. Its authorizations also apply to a program that it starts with pkexec.
    [[nodiscard]] Subject self() const;

    /// Another process, of this user or, for root, of any. polkit trusts the user id that we give
    /// it.
    [[nodiscard]] static Subject subject(const RegisteredProcess& process);

    /// The action with an annotation of that value; empty if polkit's reply contains none.
    [[nodiscard]] Result<std::optional<PolkitAction>> findAction(const std::string& annotation,
                                                                 const std::string& value);

    /// Whether the subject is authorized for an action. With interaction, waits for as long as the
    /// user takes to answer. An action that does not exist is an error.
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
