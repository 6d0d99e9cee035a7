#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// A challenge that only one process can answer: a client gets one end of a socket pair and some
/// random bytes, and the kernel stamps the answer with the process that wrote it. See SO_PASSCRED
/// in unix(7).
class CallerChallenge {
  public:
    /// The expected sender of the answer.
    struct Caller {
        pid_t process = 0;
        uid_t user = 0;
        std::string uniqueName; ///< the caller's name on the bus
    };

    [[nodiscard]] static Result<CallerChallenge> make();

    [[nodiscard]] const std::vector<std::uint8_t>& nonce() const noexcept { return nonce_; }

    /// The end for the client; empty if it was taken before.
    [[nodiscard]] Fd takeStrangersEnd() noexcept { return std::move(strangersEnd_); }

    /// Readable when there is an answer or there can be none any more.
    [[nodiscard]] int descriptor() const noexcept { return ourEnd_.get(); }

    /// What is wrong with the answer; empty if it comes from the caller. Does not wait.
    [[nodiscard]] std::optional<std::string> objection(const Caller& caller) const;

  private:
    CallerChallenge(Fd ourEnd, Fd strangersEnd, std::vector<std::uint8_t> nonce);

    Fd ourEnd_;
    Fd strangersEnd_;
    std::vector<std::uint8_t> nonce_;
};

/// Answers a challenge that came with `socket` and `nonce`, for the program whose unique name on
/// the bus is `uniqueName`. An invalid nonce is not answered.
void answerChallenge(const Fd& socket, const std::vector<std::uint8_t>& nonce,
                     const std::string& uniqueName);

} // namespace veltra
