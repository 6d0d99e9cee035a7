#include "demo/ToolScript.h"

#include <array>

namespace veltra {

namespace {

using namespace std::chrono_literals;
using enum ToolStep::Kind;

// One piece, because the monitor takes every piece for the complete information.
constexpr std::array showInformation{
    ToolStep{0ms, Output,
             "AgentMode: 1\n"
             "AgentId: 5f0c2b1e-7d43-4a86\n"
             "Version: 7.4.2\n"
             "ZelServerLastUsed: 10.0.40.12\n"
             "PolicySet: 4711\n"},
};

constexpr std::array sendProperties{
    ToolStep{0ms, Log, "Collecting properties"},
    ToolStep{0ms, Output, "Collecting properties\n"},
    ToolStep{300ms, Output, "  hardware: 38\n"},
    ToolStep{100ms, Error, "Warning: the battery cannot be read\n"},
    ToolStep{500ms, Output, "  software: 1204\n"},
    ToolStep{400ms, Log, "1242 properties sent to 10.0.40.12"},
    ToolStep{0ms, Output, "1242 properties sent to 10.0.40.12\n"},
};

constexpr std::array sendEvents{
    ToolStep{0ms, Log, "Sending events"},
    ToolStep{0ms, Output, "Sending 17 events to 10.0.40.12 ..."},
    ToolStep{600ms, Log, "17 events sent to 10.0.40.12"},
    ToolStep{0ms, Output, " done\n"},
};

constexpr std::array checkPolicies{
    ToolStep{0ms, Log, "Checking for new policies"},
    ToolStep{0ms, Output, "Asking 10.0.40.12 for new policies\n"},
    ToolStep{700ms, Output, "  set 4711: unchanged\n"},
    ToolStep{200ms, Output, "  set 4712: new\n"},
    ToolStep{100ms, Log, "1 new policy set"},
    ToolStep{0ms, Output, "1 new policy set\n"},
};

constexpr std::array enforcePolicies{
    ToolStep{0ms, Log, "Enforcing policies"},
    ToolStep{0ms, Output, "Enforcing 4 policies\n"},
    ToolStep{200ms, Output, "  1 of 4: screen lock ..."},
    ToolStep{900ms, Output, " done\n"},
    ToolStep{100ms, Output, "  2 of 4: firewall ..."},
    ToolStep{1100ms, Output, " done\n"},
    ToolStep{100ms, Output, "  3 of 4: disk encryption ..."},
    ToolStep{800ms, Output, " passed over\n"},
    ToolStep{0ms, Error, "Warning: the disk is in use, its encryption is left for later\n"},
    ToolStep{100ms, Output, "  4 of 4: updates ..."},
    ToolStep{900ms, Output, " done\n"},
    ToolStep{0ms, Log, "3 of 4 policies enforced"},
    ToolStep{0ms, Output, "3 of 4 policies enforced\n"},
};

} // namespace

std::span<const ToolStep> toolScript(std::string_view option)
{
    if (option == "-i")
        return showInformation;
    if (option == "-p")
        return sendProperties;
    if (option == "-f")
        return sendEvents;
    if (option == "-c")
        return checkPolicies;
    if (option == "-e")
        return enforcePolicies;
    return {};
}

} // namespace veltra
