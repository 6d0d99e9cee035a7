// make-log LINES: writes a log with that many lines to standard output; see LogGenerator.

#include "bench/LogGenerator.h"

#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>

namespace {

using namespace veltra;

std::optional<std::uint64_t> lineCount(std::string_view text)
{
    std::uint64_t count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc{} || stop != end)
        return std::nullopt;
    return count;
}

bool flush(std::string& text)
{
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    text.clear();
    return isWritten;
}

bool writeLines(std::uint64_t count)
{
    constexpr std::size_t blockSize = 1 << 20;
    LogGenerator generator;
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
        generator.appendLine(text);
        if (text.size() >= blockSize && !flush(text))
            return false;
    }
    return flush(text) && std::fflush(stdout) == 0;
}

int run(std::uint64_t count)
{
    if (writeLines(count))
        return 0;

    std::perror("make-log: write");
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    const auto count = argc == 2 ? lineCount(argv[1]) : std::nullopt;
    if (!count) {
        std::fputs("usage: make-log LINES > FILE\n", stderr);
        return 2;
    }
    try {
        return run(*count);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "make-log: %s\n", exception.what());
        return 1;
    }
}
