#include "demo/ToolScript.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;
using Kind = ToolStep::Kind;

std::ptrdiff_t countOf(std::string_view option, Kind kind)
{
    return std::ranges::count(toolScript(option), kind, &ToolStep::kind);
}

std::chrono::milliseconds durationOf(std::string_view option)
{
    std::chrono::milliseconds duration{};
    for (const ToolStep& step : toolScript(option))
        duration += step.pause;
    return duration;
}

TEST(ToolScript, TellsTheInformationInOnePieceWithoutTheService)
{
    const auto script = toolScript("-i");

    ASSERT_EQ(script.size(), 1U);
    EXPECT_EQ(script.front().kind, Kind::Output);
}

TEST(ToolScript, TellsModeServerAndVersionAsKeysAndValues)
{
    const std::string text = "\n" + std::string{toolScript("-i").front().text};

    for (const char* const line :
         {"\nAgentMode: 1\n", "\nZelServerLastUsed: 10.0.40.12\n", "\nVersion: 7.4.2\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
}

TEST(ToolScript, AsksTheServiceBeforeAnythingElseIsPrinted)
{
    for (const char* const option : {"-p", "-f", "-c", "-e"}) {
        const auto script = toolScript(option);

        ASSERT_FALSE(script.empty()) << option;
        EXPECT_EQ(script.front().kind, Kind::Log) << option;
        EXPECT_EQ(script.front().pause, 0ms) << option;
    }
}

TEST(ToolScript, PrintsItsWorkInPiecesAndEndsALine)
{
    for (const char* const option : {"-p", "-f", "-c", "-e"}) {
        EXPECT_GE(countOf(option, Kind::Output), 2) << option;
        EXPECT_EQ(toolScript(option).back().kind, Kind::Output) << option;
        EXPECT_TRUE(toolScript(option).back().text.ends_with('\n')) << option;
    }
}

TEST(ToolScript, WarnsOnStandardErrorOfPropertiesAndPolicies)
{
    EXPECT_EQ(countOf("-p", Kind::Error), 1);
    EXPECT_EQ(countOf("-e", Kind::Error), 1);
}

TEST(ToolScript, TakesSecondsForPoliciesAndLessForTheRest)
{
    EXPECT_GE(durationOf("-e"), 3s);
    for (const char* const option : {"-i", "-p", "-f", "-c"})
        EXPECT_LT(durationOf(option), 2s) << option;
}

TEST(ToolScript, KnowsNoOtherOption)
{
    for (const char* const option : {"", "-", "-x", "i", "-i ", "-ip", "--info"})
        EXPECT_TRUE(toolScript(option).empty()) << option;
}

} // namespace
} // namespace veltra
