#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <functional>
#include <string>
#include <string_view>

namespace veltra {

/// The socket through which the demonstration sends commands to its agent.
///
/// A Unix socket that preserves packet boundaries (see unix(7), SOCK_SEQPACKET): a client sends one
/// packet, the command, and receives one, the answer, when the command has been carried out.
class AgentControl {
  public:
    using Command = std::function<std::string(std::string_view)>;

    /// The path where the demonstration's agent listens.
    static constexpr const char* agentPath = "/run/veltra-demo/control/agent";

    /// Listens at `path`; replaces a socket that an earlier agent left there.
    [[nodiscard]] static Result<AgentControl> listen(const std::string& path);

    /// Readable when a client is waiting.
    [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

    /// Accepts one waiting client and answers its command with what `carryOut` returns. A client
    /// that sends nothing within a second is disconnected.
    void serve(const Command& carryOut);

    /// The client's side: has the agent that listens at `path` carry out a command, and waits for
    /// its answer, which is empty if the agent ended instead.
    [[nodiscard]] static Result<std::string> ask(const std::string& path, std::string_view command);

  private:
    explicit AgentControl(Fd socket) : socket_{std::move(socket)} {}

    Fd socket_;
};

} // namespace veltra
