#include "agentmon/AgentProcess.h"

#include "platform/base/ProcPath.h"
#include "platform/log/SystemLog.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace veltra {

namespace {

std::string outputOf(const char* command)
{
    std::array<char, 128> buffer{};
    std::string result;
    // NOLINTNEXTLINE(cert-env33-c): all commands are our own pipelines
    const std::shared_ptr<std::FILE> pipe{::popen(command, "r"), [](std::FILE* stream) {
                                              if (stream)
                                                  ::pclose(stream);
                                          }};
    if (!pipe)
        throw std::runtime_error{"popen() failed!"};

    while (!std::feof(pipe.get())) {
        if (std::fgets(buffer.data(), buffer.size(), pipe.get()))
            result += buffer.data();
        else if (std::ferror(pipe.get()))
            throw std::runtime_error{"fgets() failed!"};
    }
    return result;
}

bool areSameLetter(char one, char other) noexcept
{
    return std::tolower(static_cast<unsigned char>(one)) ==
           std::tolower(static_cast<unsigned char>(other));
}

} // namespace

std::string exec(const char* command)
{
    try {
        return outputOf(command);
    } catch (const std::exception&) {
        SystemLog::log("Exception in exec() function call");
        return {};
    }
}

std::int32_t firstPidIn(const std::string& answer)
{
    std::int32_t pid = -1;
    std::istringstream{answer} >> pid;
    return pid;
}

bool commandLineHolds(std::int32_t pid, std::string_view text)
{
    std::ifstream file{procPath(pid, "cmdline"), std::ios::binary};
    if (!file)
        return errno != ENOENT && errno != ESRCH;

    std::ostringstream content;
    content << file.rdbuf();
    std::string commandLine = std::move(content).str();
    std::ranges::replace(commandLine, '\0', ' ');
    return std::search(commandLine.begin(), commandLine.end(), text.begin(), text.end(),
                       areSameLetter) != commandLine.end();
}

} // namespace veltra
