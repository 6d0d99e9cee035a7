#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <functional>
#include <string>
#include <string_view>

namespace veltra {

/// The socket through which the demonstration tells its agent what to do.
///
/// A Unix socket that keeps packets apart (see unix(7), SOCK_SEQPACKET): a client sends one packet,
/// the command, and receives one, the answer, sent when the command has been carried out.
class AgentControl {
  public:
    using Command = std::function<std::string(std::string_view)>;

    /// Where the demonstration's agent listens.
    static constexpr const char* agentPath = "/run/veltra-demo/control/agent";

    /// Listens at `path`; a socket that an earlier agent left there is replaced.
    [[nodiscard]] static Result<AgentControl> listen(const std::string& path);

    /// Readable when a client waits.
    [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

    /// Takes one waiting client and answers its command with what `carryOut` returns. A client that
    /// sends nothing within a second is sent away.
    void serve(const Command& carryOut);

    /// The client's part: has the agent that listens at `path` carry out a command, and waits for
    /// its answer, which is empty when the agent ended instead.
    [[nodiscard]] static Result<std::string> ask(const std::string& path, std::string_view command);

  private:
    explicit AgentControl(Fd socket) : socket_{std::move(socket)} {}

    Fd socket_;
};

} // namespace veltra
