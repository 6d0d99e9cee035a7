#include "demo/AgentLineFormat.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::sys_days day{std::chrono::year{2024} / std::chrono::March / 5};

TEST(AgentLineFormat, WritesDateTimeThreadComponentSeverityAndMessage)
{
    AgentLineFormat format{AgentLineFormat::Zone::Utc, 1234};
    std::string text = "before\n";

    format.append(text, day + 10h + 22min + 33s + 456ms, {"vxsvc", "Info", 0, "Agent started"});

    EXPECT_EQ(text, "before\n2024-03-05 10:22:33.456 (1234.1234) vxsvc.Info: Agent started\n");
}

TEST(AgentLineFormat, WritesThreeDigitsOfMilliseconds)
{
    AgentLineFormat format{AgentLineFormat::Zone::Utc, 1};
    std::string text;

    format.append(text, day + 7ms, {"Policy", "Error", 4, "x"});

    EXPECT_EQ(text, "2024-03-05 00:00:00.007 (1.5) Policy.Error: x\n");
}

TEST(AgentLineFormat, FollowsTheClockFromSecondToSecond)
{
    AgentLineFormat format{AgentLineFormat::Zone::Utc, 1};
    std::string text;

    for (const auto when : {59s, 60s, 59s})
        format.append(text, day + when, {"vxsvc", "Info", 0, "x"});

    EXPECT_EQ(text, "2024-03-05 00:00:59.000 (1.1) vxsvc.Info: x\n"
                    "2024-03-05 00:01:00.000 (1.1) vxsvc.Info: x\n"
                    "2024-03-05 00:00:59.000 (1.1) vxsvc.Info: x\n");
}

} // namespace
} // namespace veltra
