#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace veltra {

/// Damages bytes at random, in the same way for the same seed: changes, removes, repeats and adds
/// some, or inserts a boundary value of a number type. For one thread.
class Damage {
  public:
    /// `pieces` are what an attacker who knows the format would insert.
    Damage(std::uint32_t seed, std::vector<std::string> pieces);

    /// `whole` with one to eight changes; may be equal to `whole`.
    [[nodiscard]] std::string of(std::string whole);

    /// A number from 0 up to, but not including, `end`, which must not be 0.
    [[nodiscard]] std::size_t below(std::size_t end);

  private:
    void damageOnce(std::string& bytes);
    void overwrite(std::string& bytes, std::size_t at, std::uint64_t number);

    std::mt19937 random_;
    std::vector<std::string> pieces_;
};

} // namespace veltra
