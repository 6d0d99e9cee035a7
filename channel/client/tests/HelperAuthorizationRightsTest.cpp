// The rights and their registration, over the fake.

#include "channel/client/HelperAuthorization.h"
#include "channel/client/HelperAuthorizationError.h"
#include "channel/protocol/HelperConstants.h"
#include "platform/log/tests/RecordingSink.h"
#include "platform/rights/fakes/FakeAuthorization.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

const std::string guardedCommand = "runCommandWithPath:authData:completion:";
const std::string name = "com.veltra.agentMonitor.helper." + guardedCommand;
const std::string prompt = "Quorrel wants to run the command /Library/Veltra/ovra/bin/trolex";
const RightDefinition definition{{"class", "user"}, {"group", "admin"}, {"version", 1}};

HelperAuthorizationRight rightWith(std::optional<RightDefinition> custom,
                                   std::optional<std::string> constant)
{
    return {"some:", std::nullopt, "", std::move(custom), std::move(constant)};
}

bool isUpdateRequired(const std::optional<RightDefinition>& current,
                      const HelperAuthorizationRight& right)
{
    return HelperAuthorization::authorizationRuleUpdateRequired(current, right);
}

class AuthorizationRightsUpdate : public testing::Test {
  protected:
    /// Updates the database and returns what was logged meanwhile.
    std::vector<std::string> update(const std::vector<HelperAuthorizationRight>& rights)
    {
        const auto recording = std::make_shared<Recording>();
        {
            SystemLog log{Recording::sink(recording)};
            const SystemLog::Redirection redirection{log};
            HelperAuthorization::authorizationRightsUpdateDatabase(rights, services);
        }
        return recording->messages();
    }
    std::vector<std::string> update() { return update(HelperAuthorization::authorizationRights()); }

    [[nodiscard]] bool hasWritten() const
    {
        return std::ranges::any_of(services.calls(), [](const std::string& call) {
            return call.starts_with("AuthorizationRightSet");
        });
    }

    /// Stores the right with a different value instead of the definition.
    void store(const RightDefinition& stored)
    {
        services.rights()[name] = {stored, "a prompt"};
        services.answers = {errAuthorizationSuccess};
    }

    /// The stored definition after an update.
    RightDefinition updated()
    {
        EXPECT_EQ(update(), std::vector<std::string>{});
        return services.rights().at(name).definition;
    }

    FakeAuthorization services;
};

TEST(HelperAuthorizationRights, AreTheOneForCommandsWithAuthorizationData)
{
    const auto& rights = HelperAuthorization::authorizationRights();

    ASSERT_EQ(rights.size(), 1U);
    EXPECT_EQ(rights[0].command, guardedCommand);
    EXPECT_EQ(rights[0].name, name);
    EXPECT_EQ(rights[0].description, prompt);
    EXPECT_EQ(rights[0].ruleCustom, definition);
    EXPECT_EQ(rights[0].ruleConstant, std::nullopt);
}

TEST(HelperAuthorizationRights, AreFoundByTheirCommand)
{
    const auto* const right = HelperAuthorization::authorizationRight(guardedCommand);

    ASSERT_TRUE(right);
    EXPECT_EQ(right->name, name);
}

TEST(HelperAuthorizationRights, GuardNoCommandWithoutAuthorizationData)
{
    EXPECT_FALSE(HelperAuthorization::authorizationRight("runCommandWithPath:completion:"));
    EXPECT_FALSE(HelperAuthorization::authorizationRight("getVersionWithCompletion:"));
}

TEST(HelperAuthorizationRights, KeepTheirKeysAndTheStatusOfAFailedAuthorization)
{
    EXPECT_STREQ(kAuthorizationRightKeyClass, "class");
    EXPECT_STREQ(kAuthorizationRightKeyGroup, "group");
    EXPECT_STREQ(kAuthorizationRightKeyRule, "rule");
    EXPECT_STREQ(kAuthorizationRightKeyTimeout, "timeout");
    EXPECT_STREQ(kAuthorizationRightKeyVersion, "version");
    EXPECT_EQ(kAuthorizationFailedExitCode, 503340);
}

TEST(HelperAuthorizationRight, MayHaveANameOfItsOwn)
{
    const HelperAuthorizationRight right{"some:", "a.name", "", {}, {}};

    EXPECT_EQ(right.name, "a.name");
}

TEST(HelperAuthorizationRight, PrefersItsCustomRuleToAConstant)
{
    EXPECT_EQ(rightWith(definition, "a-rule").rule(), definition);
    EXPECT_EQ(rightWith(std::nullopt, "a-rule").rule(), "a-rule");
    EXPECT_EQ(rightWith(std::nullopt, std::nullopt).rule(), "authenticate-admin");
}

TEST(AuthorizationRuleUpdate, IsRequiredOfWhatIsNoMap)
{
    const HelperAuthorizationRight right = rightWith(definition, std::nullopt);

    EXPECT_TRUE(isUpdateRequired(std::nullopt, right));
    EXPECT_TRUE(isUpdateRequired(RightDefinition(nullptr), right));
    EXPECT_TRUE(isUpdateRequired(RightDefinition("authenticate-admin"), right));
    EXPECT_TRUE(isUpdateRequired(RightDefinition::array({1}), right));
}

TEST(AuthorizationRuleUpdate, ComparesAPredefinedRuleWithTheOnlyOneOfAList)
{
    const HelperAuthorizationRight right = rightWith(std::nullopt, "a-rule");
    const auto stored = [](const RightDefinition& rule) { return RightDefinition{{"rule", rule}}; };

    EXPECT_FALSE(isUpdateRequired(stored({"a-rule"}), right));
    EXPECT_TRUE(isUpdateRequired(stored({"another"}), right));
    EXPECT_TRUE(isUpdateRequired(stored({"a-rule", "another"}), right));
    EXPECT_TRUE(isUpdateRequired(stored(RightDefinition::array()), right));
    EXPECT_TRUE(isUpdateRequired(stored("a-rule"), right));
    EXPECT_TRUE(isUpdateRequired(RightDefinition::object(), right));
}

TEST(AuthorizationRuleUpdate, IsAlwaysRequiredOfARightThatFallsBack)
{
    const RightDefinition stored{{"rule", RightDefinition::array({"authenticate-admin"})}};

    EXPECT_TRUE(isUpdateRequired(stored, rightWith(std::nullopt, std::nullopt)));
}

TEST(AuthorizationRuleUpdate, IsRequiredWhenTheCustomRuleHasNoVersionItself)
{
    const HelperAuthorizationRight without =
        rightWith(RightDefinition{{"class", "user"}}, std::nullopt);
    const HelperAuthorizationRight withText =
        rightWith(RightDefinition{{"version", "1"}}, std::nullopt);

    EXPECT_TRUE(isUpdateRequired(definition, without));
    EXPECT_TRUE(isUpdateRequired(definition, withText));
}

TEST(AuthorizationRuleUpdate, IsRequiredOfARuleOfNoKnownKind)
{
    EXPECT_TRUE(isUpdateRequired(definition, rightWith(RightDefinition(1), std::nullopt)));
}

TEST_F(AuthorizationRightsUpdate, WritesARightThatIsMissing)
{
    EXPECT_EQ(updated(), definition);

    EXPECT_EQ(services.rights().at(name).description, prompt);
    EXPECT_EQ(services.calls(),
              (std::vector<std::string>{"AuthorizationCreate 0", "AuthorizationRightGet " + name,
                                        "AuthorizationRightSet " + name + " " + definition.dump() +
                                            " " + prompt}));
}

TEST_F(AuthorizationRightsUpdate, LeavesARightOfTheSameVersion)
{
    store(definition);

    EXPECT_EQ(updated(), definition);

    EXPECT_FALSE(hasWritten());
}

TEST_F(AuthorizationRightsUpdate, LeavesARightOfTheSameVersionThoughItsGroupDiffers)
{
    store({{"class", "user"}, {"group", "staff"}, {"version", 1}});

    EXPECT_EQ(updated()["group"], "staff");

    EXPECT_FALSE(hasWritten());
}

TEST_F(AuthorizationRightsUpdate, RewritesARightOfALaterVersion)
{
    store({{"class", "user"}, {"group", "admin"}, {"version", 2}});

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, RewritesARightOfAnEarlierVersion)
{
    store({{"class", "user"}, {"group", "admin"}, {"version", 0}});

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, RewritesARightWithoutAVersion)
{
    store({{"class", "user"}, {"group", "admin"}});

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, RewritesARightWhoseVersionIsNoInteger)
{
    store({{"class", "user"}, {"group", "admin"}, {"version", "1"}});

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, RewritesARightThatCannotBeRead)
{
    store(nullptr);

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, WritesWhenTheSystemBringsNoDefinition)
{
    services.empty = {"AuthorizationRightGet"};

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, WritesARightThatFallsBackEveryTime)
{
    const std::vector<HelperAuthorizationRight> rights{rightWith(std::nullopt, std::nullopt)};
    services.answers = {errAuthorizationSuccess};

    update(rights);
    services.rights().at(rights[0].name).definition =
        RightDefinition{{"rule", RightDefinition::array({"authenticate-admin"})}};
    update(rights);

    EXPECT_EQ(services.rights().at(rights[0].name).definition, "authenticate-admin");
}

TEST_F(AuthorizationRightsUpdate, LogsAFailedWriteAndGoesOnWithTheNextRight)
{
    const HelperAuthorizationRight first{"first:", std::nullopt, "", definition, std::nullopt};
    const HelperAuthorizationRight second{"second:", std::nullopt, "", definition, std::nullopt};
    services.rights()[first.name] = {RightDefinition::object(), ""};
    services.answers = {errAuthorizationDenied};

    const auto logged = update({first, second});

    EXPECT_EQ(logged, std::vector<std::string>{"AuthorizationRightSet or Get failed with error: "
                                               "Optional(The authorization was denied)"});
    EXPECT_EQ(services.rights().at(second.name).definition, definition);
}

TEST_F(AuthorizationRightsUpdate, LogsNilForAStatusWithoutWords)
{
    services.failing["AuthorizationRightSet"] = -1;

    EXPECT_EQ(update(),
              std::vector<std::string>{"AuthorizationRightSet or Get failed with error: nil"});
}

TEST_F(AuthorizationRightsUpdate, WritesARightThatCannotBeAskedFor)
{
    services.failing["AuthorizationRightGet"] = errAuthorizationInternal;

    EXPECT_EQ(updated(), definition);
}

TEST_F(AuthorizationRightsUpdate, ThrowsWhenThereIsNoEmptyReference)
{
    services.empty = {"AuthorizationCreate"};

    try {
        update();
        FAIL() << "nothing was thrown";
    } catch (const HelperAuthorizationError& error) {
        EXPECT_EQ(error.message(), "Failed to get empty authorization ref");
    }
    EXPECT_FALSE(hasWritten());
}

TEST_F(AuthorizationRightsUpdate, ThrowsWhenTheEmptyReferenceFails)
{
    services.failing["AuthorizationCreate"] = errAuthorizationInternal;

    try {
        update();
        FAIL() << "nothing was thrown";
    } catch (const HelperAuthorizationError& error) {
        EXPECT_EQ(error.message(),
                  "Optional(The authorization services failed or cannot be reached)");
    }
}

} // namespace
} // namespace veltra
