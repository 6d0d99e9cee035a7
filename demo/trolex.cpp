// The stand-in for the agent's command-line tool. Exit status 0: done; 1: the service is not
// running or cannot do its part; 2: wrong usage.

#include "demo/AgentControl.h"
#include "demo/ToolScript.h"

#include <cstdio>
#include <exception>
#include <thread>

namespace {

using namespace veltra;

// Flushes each piece, so that readers get the pieces as they are printed.
void print(std::FILE* stream, std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

bool log(std::string_view text)
{
    const auto answer = AgentControl::ask(AgentControl::agentPath, "log " + std::string{text});
    if (answer && answer.value().starts_with("ok: "))
        return true;

    // If the agent ends before it answers, the answer is empty.
    const bool isThere = answer && !answer.value().empty();
    print(stderr,
          "trolex: " + (isThere ? answer.value() : "the agent service is not running") + "\n");
    return false;
}

int perform(std::span<const ToolStep> script)
{
    for (const ToolStep& step : script) {
        std::this_thread::sleep_for(step.pause);
        if (step.kind != ToolStep::Kind::Log)
            print(step.kind == ToolStep::Kind::Output ? stdout : stderr, step.text);
        else if (!log(step.text))
            return 1;
    }
    return 0;
}

int run(std::span<char*> arguments)
{
    const auto script =
        arguments.size() == 2 ? toolScript(arguments[1]) : std::span<const ToolStep>{};
    if (script.empty()) {
        print(stderr, "usage: trolex -i | -p | -f | -c | -e\n");
        return 2;
    }
    return perform(script);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run({argv, static_cast<std::size_t>(argc)});
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "trolex: %s\n", exception.what());
        return 1;
    }
}
