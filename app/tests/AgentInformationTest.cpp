#include "app/AgentInformation.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(AgentInformation, HoldsWhatTheThreeKeysTell)
{
    const auto information = parseAgentInformation(
        QStringLiteral("AgentMode: 1\nZelServerLastUsed: 10.0.0.5\nVersion: 5.7.1\nOther: x\n"));

    ASSERT_TRUE(information);
    EXPECT_EQ(information->mode, 1);
    EXPECT_EQ(information->server, QStringLiteral("10.0.0.5"));
    EXPECT_EQ(information->version, QStringLiteral("5.7.1"));
    EXPECT_TRUE(information->hasServer());
}

TEST(AgentInformation, HasAServerInModesOneAndTwoAlone)
{
    const auto hasServer = [](const QString& mode) {
        return parseAgentInformation(QStringLiteral("AgentMode: ") + mode)->hasServer();
    };

    EXPECT_TRUE(hasServer(QStringLiteral("1")));
    EXPECT_TRUE(hasServer(QStringLiteral("2")));
    EXPECT_TRUE(hasServer(QStringLiteral(" 2 beta")));
    for (const char* const mode : {"0", "3", "-1", "x", "", "99999999999999999999", "4294967297"})
        EXPECT_FALSE(hasServer(QString::fromUtf8(mode))) << mode;
    EXPECT_FALSE(parseAgentInformation(QStringLiteral("Version: 1"))->hasServer());
}

TEST(AgentInformation, IgnoresLinesWithoutColonAndBlank)
{
    const auto information = parseAgentInformation(QStringLiteral("Version:5.7\nAgentMode: 1"));

    ASSERT_TRUE(information);
    EXPECT_TRUE(information->version.isNull());
}

TEST(AgentInformation, KeepsTheValueUpToTheNextSeparator)
{
    EXPECT_EQ(parseAgentInformation(QStringLiteral("Version: 5.7: beta"))->version,
              QStringLiteral("5.7"));
}

TEST(AgentInformation, TakesTheLastOfEqualKeysAndTrimsNothing)
{
    const auto information = parseAgentInformation(
        QStringLiteral("Version: 1\n Version: 2\nVersion:  3 \nZelServerLastUsed: "));

    EXPECT_EQ(information->version, QStringLiteral(" 3 "));
    EXPECT_TRUE(information->server.isEmpty());
    EXPECT_FALSE(information->server.isNull());
}

TEST(AgentInformation, IsNoneWithoutASinglePair)
{
    EXPECT_FALSE(parseAgentInformation({}));
    EXPECT_FALSE(parseAgentInformation(QStringLiteral("")));
    EXPECT_FALSE(parseAgentInformation(QStringLiteral("Version:5.7\nnothing\n\n")));
}

} // namespace
} // namespace veltra
