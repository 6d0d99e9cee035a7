#include "platform/process/ProcessMappings.h"

#include "platform/base/ProcPath.h"
#include "platform/process/Distrust.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/sysmacros.h>

namespace veltra {

namespace {

// A mapping starts with a line like this one, followed by lines that start with a name:
// 7f1c2000-7f1c4000 r-xp 00002000 fe:00 1234    /usr/lib/libc.so.6
bool isHeader(const std::string& line)
{
    const auto dash = line.find('-');
    return dash != std::string::npos && dash == line.find_first_not_of("0123456789abcdef");
}

struct Header {
    bool isExecutable = false;
    ProcessMapping mapping;
};

std::string_view withoutSpaces(std::string_view text)
{
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

// The next number, which is 0 if there is none, and one character that ends it. One that is too
// large counts as the largest and ends the line.
std::uint64_t takeNumber(std::string_view& rest, int base)
{
    rest = withoutSpaces(rest);
    std::uint64_t number = 0;
    const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), number, base);
    const auto length = static_cast<std::size_t>(parsed.ptr - rest.data());
    rest.remove_prefix(std::min(length + 1, rest.size()));
    if (parsed.ec == std::errc::result_out_of_range) {
        rest = {};
        return std::numeric_limits<std::uint64_t>::max();
    }
    return number;
}

std::string_view takeWord(std::string_view& rest)
{
    rest = withoutSpaces(rest);
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(word.size());
    return word;
}

// Without streams, which would take longer than everything else about a caller.
Header headerOf(std::string_view line)
{
    Header header;
    ProcessMapping& mapping = header.mapping;
    mapping.start = takeNumber(line, 16);
    mapping.end = takeNumber(line, 16);
    header.isExecutable = takeWord(line).find('x') != std::string_view::npos;
    takeWord(line); // the offset in the file
    const auto major = static_cast<unsigned>(takeNumber(line, 16));
    const auto minor = static_cast<unsigned>(takeNumber(line, 16));
    mapping.device = makedev(major, minor);
    mapping.inode = takeNumber(line, 10);
    mapping.path = withoutSpaces(line);
    return header;
}

bool isNonZeroCount(const std::string& line, std::string_view name)
{
    if (!line.starts_with(name))
        return false;
    unsigned long kilobytes = 0;
    std::istringstream{line.substr(name.size())} >> kilobytes;
    return kilobytes > 0;
}

// A changed page is private to the process; one that was swapped out is only counted as swap.
bool tellsOfChangedPages(const std::string& line)
{
    return isNonZeroCount(line, "Anonymous:") || isNonZeroCount(line, "Swap:");
}

// Hands on each mapping when its last line was seen.
class Reading {
  public:
    Reading(const TakeMapping& take, const MappingBounds& bounds) : take_{take}, bounds_{bounds} {}

    Result<> takeLine(const std::string& line)
    {
        text_ += line.size() + 1;
        if (text_ > bounds_.text)
            return distrust(Distrust::hasTooManyMappings);
        if (isHeader(line))
            return takeHeader(line);
        if (mapping_ && tellsOfChangedPages(line))
            mapping_->isWrittenTo = true;
        return success;
    }

    Result<> finish()
    {
        const auto mapping = std::exchange(mapping_, std::nullopt);
        return mapping ? take_(*mapping) : success;
    }

  private:
    Result<> takeHeader(const std::string& line)
    {
        if (auto done = finish(); !done)
            return done;
        Header header = headerOf(line);
        // Memory of no file has no inode.
        if (!header.isExecutable || header.mapping.inode == 0)
            return success;
        if (++mappings_ > bounds_.mappings)
            return distrust(Distrust::hasTooManyMappings);
        mapping_ = std::move(header.mapping);
        return success;
    }

    const TakeMapping& take_;
    MappingBounds bounds_;
    std::size_t mappings_ = 0;
    std::size_t text_ = 0;
    std::optional<ProcessMapping> mapping_;
};

} // namespace

Result<> readExecutableFileMappings(pid_t pid, const TakeMapping& take)
{
    std::ifstream smaps{procPath(pid, "smaps")};
    return readExecutableFileMappings(smaps, take);
}

Result<> readExecutableFileMappings(std::istream& smaps, const TakeMapping& take,
                                    const MappingBounds& bounds)
{
    Reading reading{take, bounds};
    for (std::string line; std::getline(smaps, line);)
        if (auto taken = reading.takeLine(line); !taken)
            return taken;
    return reading.finish();
}

std::optional<ProcessMapping> ownMappingAt(std::uintptr_t address)
{
    std::ifstream maps{procPath("self", "maps")};
    for (std::string line; std::getline(maps, line);)
        if (Header header = headerOf(line); header.mapping.start == address)
            return std::move(header.mapping);
    return std::nullopt;
}

} // namespace veltra
