#include "platform/rights/AdminTool.h"

#include "platform/base/EventLoop.h"
#include "platform/base/ProcPath.h"
#include "platform/log/SystemLog.h"
#include "platform/process/Task.h"
#include "platform/rights/ServiceManagement.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

namespace veltra {

namespace {

using namespace std::chrono_literals;

constexpr const char* pkexec = "/usr/bin/pkexec";
// A process that the program left running may keep the pipes open for ever.
constexpr auto patienceForOutput = 200ms;

struct VerbFacts {
    const char* word;
    const char* action;
    std::chrono::seconds limit;
};

constexpr std::array<VerbFacts, 4> verbs{{
    {"bless", kSMRightBlessPrivilegedHelper, 60s},
    {"add-right", "com.veltra.agentMonitor.admin.add-right", 10s},
    {"change-right", "com.veltra.agentMonitor.admin.change-right", 10s},
    {"remove", "com.veltra.agentMonitor.admin.remove", 10s},
}};

const VerbFacts& factsOf(AdminTool::Verb verb)
{
    return verbs.at(static_cast<std::size_t>(verb));
}

bool isOfLanguage(std::string_view variable)
{
    return variable.starts_with("LANG=") || variable.starts_with("LANGUAGE=") ||
           variable.starts_with("LC_");
}

// pkexec refuses to start if it distrusts the value of any variable.
bool isTrustedByPkexec(std::string_view variable)
{
    return variable.find_first_of("/%") == std::string_view::npos &&
           variable.find("..") == std::string_view::npos;
}

std::vector<std::string> languageEnvironment()
{
    std::vector<std::string> environment;
    for (char** variable = ::environ; variable && *variable; ++variable)
        if (isOfLanguage(*variable) && isTrustedByPkexec(*variable))
            environment.emplace_back(*variable);
    return environment;
}

Task taskFor(const std::string& tool, const VerbFacts& verb)
{
    Task task;
    // pkexec's own agent for terminals fails even with the right password.
    const bool isRoot = ::geteuid() == 0;
    task.launchPath = isRoot ? tool : pkexec;
    task.arguments = isRoot ? std::vector<std::string>{verb.word}
                            : std::vector<std::string>{"--disable-internal-agent", tool, verb.word};
    task.environment = languageEnvironment();
    task.timeLimit = verb.limit;
    return task;
}

} // namespace

AdminTool AdminTool::besideProgram()
{
    std::error_code ignored;
    const auto program = std::filesystem::read_symlink(ownExecutablePath(), ignored);
    return AdminTool{program.parent_path() / "veltra-admin-tool"};
}

std::string AdminTool::action(Verb verb)
{
    return factsOf(verb).action;
}

// Everything happens on the calling thread: until it is root, pkexec dies with the thread that
// started it.
Result<AdminTool::Ending> AdminTool::run(Verb verb) const
{
    auto loop = EventLoop::open(&SystemLog::logThrown);
    if (!loop)
        return loop.error();

    Ending ending;
    EventLoop::Registration patience;
    int toAwait = 3; // the end of the program and of its two streams
    const auto awaitRest = [&] {
        if (--toAwait == 0)
            loop.value()->stop();
    };
    Task task = taskFor(path_, factsOf(verb));
    task.standardOutput = [&](std::string_view piece) {
        if (piece.empty())
            awaitRest();
    };
    task.standardError = [&](std::string_view piece) {
        ending.message += piece;
        if (piece.empty())
            awaitRest();
    };
    task.terminationHandler = [&](int status) {
        ending.status = status;
        patience = loop.value()->callAfter(patienceForOutput, [&] { loop.value()->stop(); });
        awaitRest();
    };
    const auto launched = launch(*loop.value(), std::move(task));
    if (!launched)
        return launched.error();
    if (const auto served = loop.value()->run(); !served)
        return served.error();
    return ending;
}

} // namespace veltra
