// FUZZER COUNT SEED: gives the reader its seeds and as many damaged ones. Prints how many inputs it
// accepted. If the reader broke a promise, the exit status is 1 and the bytes are in the file
// broken.bytes; crashes are reported by the sanitizers.
#include "platform/base/tests/FileBytes.h"
#include "tests/fuzz/Damage.h"
#include "tests/fuzz/FuzzTarget.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace veltra;
using fuzz::Outcome;

std::vector<std::string> seeds()
{
    std::map<std::string, std::string> inOrder;
    for (const auto& entry : std::filesystem::directory_iterator{VELTRA_FUZZ_SEEDS})
        inOrder[entry.path()] = bytesOf(entry.path());
    std::vector<std::string> all;
    for (auto& [path, bytes] : inOrder)
        all.push_back(std::move(bytes));
    return all;
}

class Run {
  public:
    void read(const std::string& bytes)
    {
        const Outcome outcome = fuzz::read(bytes);
        ++counts_[outcome];
        if (outcome == Outcome::broken) {
            std::ofstream{"broken.bytes", std::ios::binary} << bytes;
            throw std::runtime_error{"a promise is broken; see broken.bytes"};
        }
    }

    // A reader that accepts nothing, or everything, was not tried.
    [[nodiscard]] bool isMeaningful()
    {
        std::printf("%zu good, %zu refused\n", counts_[Outcome::good], counts_[Outcome::refused]);
        return counts_[Outcome::good] > 0 && counts_[Outcome::refused] > 0;
    }

  private:
    std::map<Outcome, std::size_t> counts_;
};

bool readDamaged(std::size_t count, std::uint32_t randomSeed)
{
    Damage damage{randomSeed, fuzz::pieces()};
    const std::vector<std::string> whole = seeds();
    Run run;
    for (const std::string& bytes : whole)
        run.read(bytes);
    for (; count > 0; --count)
        run.read(damage.of(whole[damage.below(whole.size())]));
    return run.isMeaningful();
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: %s COUNT SEED\n", arguments[0]);
        return 2;
    }
    try {
        return readDamaged(std::stoul(arguments[1]),
                           static_cast<std::uint32_t>(std::stoul(arguments[2])))
                   ? EXIT_SUCCESS
                   : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
        return EXIT_FAILURE;
    }
}
