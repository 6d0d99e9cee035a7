#include "tools/admin/RightsPolicy.h"

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

HelperAuthorizationRight rightWith(const std::string& description, RightDefinition definition)
{
    return {"run:", "a.right:", description, std::move(definition), std::nullopt};
}

TEST(RightsPolicy, WritesAConstantAsAText)
{
    const HelperAuthorizationRight right{"run:", std::nullopt, "text", std::nullopt, "a-rule"};

    EXPECT_EQ(definitionInPolicy(right), R"("a-rule")");
}

TEST(RightsPolicy, EscapesWhatCannotStandInXmlOrWouldBeCut)
{
    const auto right = rightWith("text", {{"key", "<a> & \"b\"\n\x01 ü"}});

    const std::string line = definitionInPolicy(right);

    EXPECT_EQ(line, R"({"key":"\u003Ca\u003E \u0026 \"b\"\n\u0001 \u00fc"})");
    EXPECT_EQ(RightDefinition::parse(line), right.rule());
}

TEST(RightsPolicy, HoldsEachRight)
{
    const auto policy =
        rightsPolicy({rightWith("one & only", true), {"b:", "b", "two", 2, std::nullopt}});

    ASSERT_TRUE(policy);
    const std::string& text = policy.value();
    EXPECT_NE(text.find("<action id=\"a.right-\">"), std::string::npos);
    EXPECT_NE(text.find("<message><![CDATA[one & only]]></message>"), std::string::npos);
    EXPECT_NE(text.find("<annotate key=\"com.veltra.right.name\">a.right:</annotate>"),
              std::string::npos);
    EXPECT_NE(text.find("<annotate key=\"com.veltra.right.definition\">true</annotate>"),
              std::string::npos);
    EXPECT_NE(text.find("<action id=\"b\">"), std::string::npos);
}

TEST(RightsPolicy, RefusesTextsThatWouldBeCut)
{
    for (const char* text : {"two\nlines", "a\ttab", "]]>"})
        EXPECT_FALSE(rightsPolicy({rightWith(text, true)})) << text;
}

TEST(RightsPolicy, RefusesNamesThatAreNoIdentifiers)
{
    for (const char* name : {"", "a b", "a\"b", "<", "ü"})
        EXPECT_FALSE(rightsPolicy({{"c:", name, "text", true, std::nullopt}})) << name;
}

} // namespace
} // namespace veltra
