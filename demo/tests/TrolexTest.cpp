// Runs the tool itself, where there is no agent; namespace-test runs it beside one.
#include "platform/base/tests/FinishedProgram.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

const std::string usage = "usage: trolex -i | -p | -f | -c | -e\n";

TEST(Trolex, TellsTheInformationWithoutTheService)
{
    const auto finished = finishedProgram({TROLEX, "-i"});

    EXPECT_EQ(finished.status, 0);
    EXPECT_NE(finished.output.find("\nVersion: 7.4.2\n"), std::string::npos) << finished.output;
    EXPECT_EQ(finished.error, "");
}

TEST(Trolex, FailsWithoutTheServiceAndSaysSo)
{
    for (const char* const option : {"-p", "-f", "-c", "-e"}) {
        const auto finished = finishedProgram({TROLEX, option});

        EXPECT_EQ(finished.status, 1) << option;
        EXPECT_EQ(finished.output, "") << option;
        EXPECT_EQ(finished.error, "trolex: the agent service is not running\n") << option;
    }
}

TEST(Trolex, TakesExactlyOneOptionThatItKnows)
{
    using Words = std::vector<std::string>;
    for (const auto& words : {Words{TROLEX}, Words{TROLEX, "-x"}, Words{TROLEX, "-i", "-p"}}) {
        const auto finished = finishedProgram(words);

        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.output, "");
        EXPECT_EQ(finished.error, usage);
    }
}

} // namespace
} // namespace veltra
