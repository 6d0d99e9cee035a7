// agentctl SOCKET COMMAND: has the demonstration's agent carry out one command and prints its
// answer. Exit status 0: done; 1: the agent could not do it; 2: wrong usage, or no agent there.

#include "demo/AgentControl.h"

#include <cstdio>

namespace {

using namespace veltra;

int run(const std::string& path, std::string_view command)
{
    const auto answer = AgentControl::ask(path, command);
    if (!answer) {
        std::fprintf(stderr, "agentctl: %s\n", answer.error().message().c_str());
        return 2;
    }
    std::printf("%s\n", answer.value().c_str());
    return answer.value().starts_with("ok: ") ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: agentctl SOCKET COMMAND\n", stderr);
        return 2;
    }
    return run(argv[1], argv[2]);
}
