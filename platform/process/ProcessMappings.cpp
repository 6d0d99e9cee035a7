#include "platform/process/ProcessMappings.h"

#include "platform/base/ProcPath.h"
#include "platform/process/Distrust.h"

#include <fstream>
#include <ios>
#include <sstream>
#include <string_view>
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

dev_t deviceOf(const std::string& text)
{
    unsigned major = 0;
    unsigned minor = 0;
    char colon = 0;
    std::istringstream{text} >> std::hex >> major >> colon >> minor;
    return makedev(major, minor);
}

Header headerOf(const std::string& line)
{
    std::istringstream fields{line};
    char dash = 0;
    std::string permissions;
    std::string offset;
    std::string device;
    Header header;
    ProcessMapping& mapping = header.mapping;
    fields >> std::hex >> mapping.start >> dash >> mapping.end >> std::dec >> permissions >>
        offset >> device >> mapping.inode >> std::ws;
    std::getline(fields, mapping.path);
    mapping.device = deviceOf(device);
    header.isExecutable = permissions.find('x') != std::string::npos;
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
