#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// A challenge that only one process can answer: random bytes on a socket that a client has
/// brought. The kernel stamps the answer with the process that wrote it. See SO_PASSCRED in
/// unix(7).
///
/// The socket stays the client's too: it may change its options, write to it and read from it. So
/// nothing here waits, and an answer without a stamp counts as none.
class CallerChallenge {
  public:
    /// The expected sender of the answer.
    struct Caller {
        pid_t process = 0;
        uid_t user = 0;
        std::string uniqueName; ///< the caller's name on the bus
    };

    /// Sends the challenge. Fails unless `socket` is connected, local, and of type SOCK_SEQPACKET.
    [[nodiscard]] static Result<CallerChallenge> send(Fd socket);

    /// Readable when there is an answer or there can be none any more.
    [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

    /// Reads the answer. Fails if it does not come from the caller.
    [[nodiscard]] Result<> check(const Caller& caller) const;

  private:
    CallerChallenge(Fd socket, std::vector<std::uint8_t> nonce);

    Fd socket_;
    std::vector<std::uint8_t> nonce_;
};

/// The two ends of a new pair of sockets: a client keeps one and gives the other to the service.
struct ChallengeSockets {
    Fd ours;
    Fd theirs;

    [[nodiscard]] static Result<ChallengeSockets> make();
};

/// Answers the challenge that has arrived at a client's end, for the program whose unique name on
/// the bus is `uniqueName`. Anything else that arrived is not answered.
void answerChallenge(const Fd& socket, const std::string& uniqueName);

} // namespace veltra
