#include "tests/fuzz/Damage.h"

#include <array>
#include <limits>
#include <utility>

namespace veltra {

namespace {

constexpr std::array<std::uint64_t, 10> edges{0,
                                              1,
                                              0x7F,
                                              0x80,
                                              0xFFFF,
                                              0x7FFF'FFFF,
                                              0x8000'0000,
                                              0xFFFF'FFFF,
                                              std::numeric_limits<std::int64_t>::max(),
                                              std::numeric_limits<std::uint64_t>::max()};

} // namespace

Damage::Damage(std::uint32_t seed, std::vector<std::string> pieces)
    : random_{seed}, pieces_{std::move(pieces)}
{
}

std::string Damage::of(std::string whole)
{
    for (std::size_t left = 1 + below(8); left > 0; --left)
        damageOnce(whole);
    return whole;
}

std::size_t Damage::below(std::size_t end)
{
    return std::uniform_int_distribution<std::size_t>{0, end - 1}(random_);
}

void Damage::damageOnce(std::string& bytes)
{
    const std::size_t at = below(bytes.size() + 1);
    switch (below(7)) {
    case 0:
        overwrite(bytes, at, below(256));
        break;
    case 1:
        bytes.erase(at, below(64));
        break;
    case 2:
        bytes.insert(at, pieces_[below(pieces_.size())]);
        break;
    case 3:
        bytes.insert(at, bytes.substr(below(bytes.size() + 1), below(200)));
        break;
    case 4:
        bytes.insert(at, 1 + below(64), static_cast<char>(below(256)));
        break;
    case 5:
        overwrite(bytes, at, edges[below(edges.size())]);
        break;
    default:
        if (at < bytes.size())
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
    }
}

// In as many bytes as needed, the lowest first, as far as there are bytes.
void Damage::overwrite(std::string& bytes, std::size_t at, std::uint64_t number)
{
    do {
        if (at == bytes.size())
            return;
        bytes[at++] = static_cast<char>(number & 0xFF);
        number >>= 8;
    } while (number != 0);
}

} // namespace veltra
