// What clang's libFuzzer calls. It changes the bytes so that they reach more and more of the code.
#include "tests/fuzz/Damage.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// The library's.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t most);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    if (veltra::fuzz::read({bytes, bytes + size}) == veltra::fuzz::Outcome::broken) {
        std::fputs("a promise is broken\n", stderr);
        std::abort();
    }
    return 0;
}

// Half of the changes are the library's, and half of them know the format.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size,
                                               std::size_t most, unsigned seed)
{
    if (seed % 2 == 0)
        return LLVMFuzzerMutate(bytes, size, most);
    const std::string damaged =
        veltra::Damage{seed, veltra::fuzz::pieces()}.of({bytes, bytes + size}).substr(0, most);
    std::ranges::copy(damaged, bytes);
    return damaged.size();
}
