#include "platform/process/ProcessMappings.h"

#include "platform/base/ProcPath.h"

#include <fstream>
#include <optional>
#include <sstream>

namespace veltra {

namespace {

// A mapping starts with a line like this one, followed by lines that start with a name:
// 7f1c2000-7f1c4000 r-xp 00002000 fe:00 1234    /usr/lib/libc.so.6
bool isHeader(const std::string& line)
{
    const auto dash = line.find('-');
    return dash != std::string::npos && dash == line.find_first_not_of("0123456789abcdef");
}

// Empty for memory that is not executable or does not belong to a file.
std::optional<ProcessMapping> mappingOf(const std::string& header)
{
    std::istringstream fields{header};
    std::string addresses;
    std::string permissions;
    std::string offset;
    std::string device;
    ProcessMapping mapping;
    fields >> addresses >> permissions >> offset >> device >> mapping.inode >> std::ws;
    std::getline(fields, mapping.path);
    const bool isExecutable = permissions.find('x') != std::string::npos;
    return isExecutable && mapping.inode != 0 ? std::optional{mapping} : std::nullopt;
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

} // namespace

std::vector<ProcessMapping> executableFileMappings(pid_t pid)
{
    std::ostringstream content;
    content << std::ifstream{procPath(pid, "smaps")}.rdbuf();
    return executableFileMappings(std::move(content).str());
}

std::vector<ProcessMapping> executableFileMappings(std::string_view smaps)
{
    std::vector<ProcessMapping> mappings;
    bool isOfInterest = false;
    std::istringstream lines{std::string{smaps}};
    for (std::string line; std::getline(lines, line);) {
        if (isHeader(line)) {
            const auto mapping = mappingOf(line);
            isOfInterest = mapping.has_value();
            if (mapping)
                mappings.push_back(*mapping);
        } else if (isOfInterest && tellsOfChangedPages(line)) {
            mappings.back().isWrittenTo = true;
        }
    }
    return mappings;
}

} // namespace veltra
