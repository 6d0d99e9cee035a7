#include "demo/AgentChatter.h"

#include <map>
#include <set>

#include <gtest/gtest.h>

namespace veltra {
namespace {

constexpr int manyMessages = 20'000;

TEST(AgentChatter, SaysTheSameForTheSameSeed)
{
    AgentChatter one{7};
    AgentChatter other{7};

    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(one.next().text, other.next().text);
}

TEST(AgentChatter, KeepsTheSharesOfTheSeverities)
{
    AgentChatter chatter{7};
    std::map<std::string_view, int> counts;

    for (int i = 0; i < manyMessages; ++i)
        ++counts[chatter.next().severity];

    EXPECT_NEAR(counts["Info"], manyMessages * 0.60, manyMessages * 0.02);
    EXPECT_NEAR(counts["Debug"], manyMessages * 0.25, manyMessages * 0.02);
    EXPECT_NEAR(counts["Warning"], manyMessages * 0.10, manyMessages * 0.02);
    EXPECT_NEAR(counts["Error"], manyMessages * 0.05, manyMessages * 0.02);
    EXPECT_EQ(counts.size(), 4U);
}

TEST(AgentChatter, LetsSomeErrorsQuoteAnInfoLine)
{
    AgentChatter chatter{7};
    int errors = 0;
    int quoting = 0;

    for (int i = 0; i < manyMessages; ++i) {
        const AgentMessage message = chatter.next();
        if (message.severity != "Error")
            continue;
        ++errors;
        if (message.text.find("Info:") != std::string::npos)
            ++quoting;
    }

    EXPECT_GT(quoting, errors / 4);
    EXPECT_LT(quoting, errors);
}

TEST(AgentChatter, SpeaksForSeveralComponentsAtSomeLengthAndNotOnlyInAscii)
{
    AgentChatter chatter{7};
    std::set<std::string_view> components;
    std::size_t longest = 0;
    bool isBeyondAscii = false;

    for (int i = 0; i < manyMessages; ++i) {
        const AgentMessage message = chatter.next();
        components.insert(message.component);
        longest = std::max(longest, message.text.size());
        isBeyondAscii = isBeyondAscii || message.text.find("ß") != std::string::npos;
    }

    EXPECT_GE(components.size(), 5U);
    EXPECT_GE(longest, 300U);
    EXPECT_TRUE(isBeyondAscii);
}

} // namespace
} // namespace veltra
