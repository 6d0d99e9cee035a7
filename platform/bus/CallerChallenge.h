#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// A question that only one process can answer: a stranger gets one end of a socket pair and some
/// random bytes, and what comes back is stamped by the kernel with the process that wrote it. See
/// SO_PASSCRED in unix(7).
class CallerChallenge {
  public:
    /// Who should have answered.
    struct Caller {
        pid_t process = 0;
        uid_t user = 0;
        std::string uniqueName; ///< the name that the bus knows the caller by
    };

    [[nodiscard]] static Result<CallerChallenge> make();

    [[nodiscard]] const std::vector<std::uint8_t>& nonce() const noexcept { return nonce_; }

    /// The end for the stranger; empty when it was taken before.
    [[nodiscard]] Fd takeStrangersEnd() noexcept { return std::move(strangersEnd_); }

    /// Readable when there is an answer, or there will be none.
    [[nodiscard]] int descriptor() const noexcept { return ourEnd_.get(); }

    /// What is wrong with the answer; none when it is the caller's. Does not wait.
    [[nodiscard]] std::optional<std::string> objection(const Caller& caller) const;

  private:
    CallerChallenge(Fd ourEnd, Fd strangersEnd, std::vector<std::uint8_t> nonce);

    Fd ourEnd_;
    Fd strangersEnd_;
    std::vector<std::uint8_t> nonce_;
};

/// Answers a challenge that came with `socket` and `nonce`, on behalf of the program that the bus
/// knows as `uniqueName`. A nonce that is none is not answered.
void answerChallenge(const Fd& socket, const std::vector<std::uint8_t>& nonce,
                     const std::string& uniqueName);

} // namespace veltra
