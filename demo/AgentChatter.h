#pragma once

#include "demo/AgentMessage.h"

#include <cstdint>
#include <random>

namespace veltra {

/// Makes up what an agent service might log: several components, about 60 % Info, 25 % Debug, 10 %
/// Warning and 5 % Error.
///
/// Half of the errors quote an Info line in their text; the monitor shows only those errors. A few
/// texts are about 300 characters long and a few are not ASCII. The same seed gives the same
/// messages on every machine. Use an object on one thread only.
class AgentChatter {
  public:
    explicit AgentChatter(std::uint64_t seed) : random_{seed} {}

    [[nodiscard]] AgentMessage next();

    /// A number from 0 up to, but not including, `bound`, which must not be 0.
    [[nodiscard]] std::uint32_t below(std::uint32_t bound);

  private:
    void fillIn(std::string_view pattern, std::string& text);

    std::mt19937_64 random_;
};

} // namespace veltra
