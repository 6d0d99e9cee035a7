#include "platform/base/ProcessStatus.h"

#include "platform/base/ProcPath.h"

#include <fstream>
#include <sstream>
#include <utility>

namespace veltra {

namespace {

std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream{path}.rdbuf();
    return std::move(content).str();
}

} // namespace

ProcessStatus::ProcessStatus(const std::string& path) : text_{"\n" + contentOf(path)} {}

std::string_view ProcessStatus::operator[](std::string_view name) const
{
    const std::string start = "\n" + std::string{name} + ":\t";
    const auto found = text_.find(start);
    if (found == std::string::npos)
        return {};
    const std::string_view rest = std::string_view{text_}.substr(found + start.size());
    return rest.substr(0, rest.find('\n'));
}

std::optional<std::uint64_t> processStartTime(pid_t process)
{
    const std::string stat = contentOf(procPath(process, "stat"));
    // The program's name is in parentheses and may itself contain parentheses.
    const auto nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos)
        return std::nullopt;

    constexpr int fieldsBetween = 19;
    std::istringstream fields{stat.substr(nameEnd + 1)};
    std::string skipped;
    for (int field = 0; field < fieldsBetween; ++field)
        fields >> skipped;
    std::uint64_t startTime = 0;
    if (!(fields >> startTime))
        return std::nullopt;
    return startTime;
}

} // namespace veltra
