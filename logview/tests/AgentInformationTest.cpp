#include "logview/AgentInformation.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(AgentInformation, HoldsWhatTheThreeKeysTell)
{
    const auto information = parseAgentInformation(
        u"AgentMode: 1\nZelServerLastUsed: 10.0.0.5\nVersion: 5.7.1\nOther: x\n"_qs);

    ASSERT_TRUE(information);
    EXPECT_EQ(information->mode, 1);
    EXPECT_EQ(information->server, u"10.0.0.5"_qs);
    EXPECT_EQ(information->version, u"5.7.1"_qs);
    EXPECT_TRUE(information->hasServer());
}

TEST(AgentInformation, HasAServerInModesOneAndTwoAlone)
{
    const auto hasServer = [](const QString& mode) {
        return parseAgentInformation(u"AgentMode: "_qs + mode)->hasServer();
    };

    EXPECT_TRUE(hasServer(u"1"_qs));
    EXPECT_TRUE(hasServer(u"2"_qs));
    EXPECT_TRUE(hasServer(u" 2 beta"_qs));
    for (const char* const mode : {"0", "3", "-1", "x", "", "99999999999999999999", "4294967297"})
        EXPECT_FALSE(hasServer(QString::fromUtf8(mode))) << mode;
    EXPECT_FALSE(parseAgentInformation(u"Version: 1"_qs)->hasServer());
}

TEST(AgentInformation, IgnoresLinesWithoutColonAndBlank)
{
    const auto information = parseAgentInformation(u"Version:5.7\nAgentMode: 1"_qs);

    ASSERT_TRUE(information);
    EXPECT_TRUE(information->version.isNull());
}

TEST(AgentInformation, KeepsTheValueUpToTheNextSeparator)
{
    EXPECT_EQ(parseAgentInformation(u"Version: 5.7: beta"_qs)->version, u"5.7"_qs);
}

TEST(AgentInformation, TakesTheLastOfEqualKeysAndTrimsNothing)
{
    const auto information =
        parseAgentInformation(u"Version: 1\n Version: 2\nVersion:  3 \nZelServerLastUsed: "_qs);

    EXPECT_EQ(information->version, u" 3 "_qs);
    EXPECT_TRUE(information->server.isEmpty());
    EXPECT_FALSE(information->server.isNull());
}

TEST(AgentInformation, IsNoneWithoutASinglePair)
{
    EXPECT_FALSE(parseAgentInformation({}));
    EXPECT_FALSE(parseAgentInformation(u""_qs));
    EXPECT_FALSE(parseAgentInformation(u"Version:5.7\nnothing\n\n"_qs));
}

} // namespace
} // namespace veltra
