#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace veltra {

/// Damages bytes at random, the same for the same seed: changes, drops, repeats and adds some, or
/// puts a number in that is at the edge of its kind. For one thread.
class Damage {
  public:
    /// `pieces` are what a stranger would add who knows the format.
    Damage(std::uint32_t seed, std::vector<std::string> pieces);

    /// `whole` with one to eight places of damage; may be what it was.
    [[nodiscard]] std::string of(std::string whole);

    /// A number from 0 up to `end`, which is none of them and not 0.
    [[nodiscard]] std::size_t below(std::size_t end);

  private:
    void damageOnce(std::string& bytes);
    void overwrite(std::string& bytes, std::size_t at, std::uint64_t number);

    std::mt19937 random_;
    std::vector<std::string> pieces_;
};

} // namespace veltra
