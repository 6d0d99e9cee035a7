// External forms and how they are verified, with fake authorization services.

#include "channel/client/HelperAuthorization.h"

#include "channel/client/HelperAuthorizationError.h"
#include "platform/rights/fakes/FakeAuthorization.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Data = HelperAuthorization::Data;

const std::string guarded = "runCommandWithPath:authData:completion:";
const std::string rightName = "com.veltra.agentMonitor.helper." + guarded;

/// What a call throws; "nothing" if it throws nothing.
std::string messageOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const HelperAuthorizationError& error) {
        return error.message();
    }
    return "nothing";
}

class HelperAuthorizationTest : public testing::Test {
  protected:
    Data form()
    {
        return HelperAuthorization::emptyAuthorizationExternalFormData(services).value();
    }

    std::string verify(const std::optional<Data>& data, const std::string& command = guarded)
    {
        return messageOf(
            [&] { HelperAuthorization::verifyAuthorization(data, command, services); });
    }

    FakeAuthorization services;
};

TEST_F(HelperAuthorizationTest, MakesEmptyReferencesWithoutRightsAndFlags)
{
    const AuthorizationRef reference = HelperAuthorization::emptyAuthorizationRef(services);

    EXPECT_TRUE(reference);
    EXPECT_EQ(services.calls(), std::vector<std::string>{"AuthorizationCreate 0"});
}

TEST_F(HelperAuthorizationTest, AsksForTheRightsThatItIsGivenWithTheFlagsThatItIsGiven)
{
    services.answers = {errAuthorizationSuccess};
    const AuthorizationItemSet rights{{"some.right"}};

    const AuthorizationRef reference =
        HelperAuthorization::authorizationRef(&rights, nullptr, 19, services);

    EXPECT_TRUE(reference);
    EXPECT_EQ(services.calls(), std::vector<std::string>{"AuthorizationCreate 19 some.right"});
    EXPECT_TRUE(services.gained().contains("some.right"));
}

TEST_F(HelperAuthorizationTest, ThrowsTheSystemsWordsWhenThePromptIsDismissed)
{
    services.answers = {errAuthorizationCanceled};
    const AuthorizationItemSet rights{{"some.right"}};

    EXPECT_EQ(messageOf([&] {
                  static_cast<void>(
                      HelperAuthorization::authorizationRef(&rights, nullptr, 19, services));
              }),
              "Optional(The authorization was cancelled by the user)");
}

TEST_F(HelperAuthorizationTest, ThrowsNilForAStatusWithoutWords)
{
    services.failing["AuthorizationCreate"] = -1;

    EXPECT_EQ(
        messageOf([&] { static_cast<void>(HelperAuthorization::emptyAuthorizationRef(services)); }),
        "nil");
}

TEST_F(HelperAuthorizationTest, WrapsTheThirtyTwoBytesOfAFormInData)
{
    const Data data = form();

    EXPECT_EQ(data.size(), 32U);
    EXPECT_TRUE(HelperAuthorization::authorizationRef(data, services));
}

TEST_F(HelperAuthorizationTest, HasNoFormWhenThereIsNoReference)
{
    services.empty = {"AuthorizationCreate"};

    EXPECT_FALSE(HelperAuthorization::emptyAuthorizationExternalForm(services));
    EXPECT_FALSE(HelperAuthorization::emptyAuthorizationExternalFormData(services));
}

TEST_F(HelperAuthorizationTest, HasNoFormWhenTheServicesBringNone)
{
    services.empty = {"AuthorizationMakeExternalForm"};

    EXPECT_FALSE(HelperAuthorization::emptyAuthorizationExternalFormData(services));
}

TEST_F(HelperAuthorizationTest, ThrowsWhenAFormsReferenceCannotBeMade)
{
    services.failing["AuthorizationCreate"] = errAuthorizationInternal;

    EXPECT_EQ(messageOf([&] { form(); }),
              "Optional(The authorization services failed or cannot be reached)");
}

TEST_F(HelperAuthorizationTest, ThrowsWhenAFormCannotBeMade)
{
    services.failing["AuthorizationMakeExternalForm"] = errAuthorizationInternal;

    EXPECT_EQ(messageOf([&] { form(); }),
              "Optional(The authorization services failed or cannot be reached)");
}

TEST_F(HelperAuthorizationTest, ThrowsWhenAFormStandsForNothing)
{
    EXPECT_EQ(messageOf([&] {
                  static_cast<void>(HelperAuthorization::authorizationRef(Data(32, 1), services));
              }),
              "Optional(The authorization is not valid or is valid no longer)");
}

TEST_F(HelperAuthorizationTest, VerifiesAFormWhoseRightIsGrantedAtThePrompt)
{
    services.answers = {errAuthorizationSuccess};
    const Data data = form();

    EXPECT_EQ(verify(data), "nothing");

    EXPECT_EQ(services.calls().back(), "AuthorizationCopyRights 3 " + rightName);
}

TEST_F(HelperAuthorizationTest, RefusesDataThatIsAbsent)
{
    EXPECT_EQ(verify(std::nullopt), "Invalid Authorization External Form Data");
}

TEST_F(HelperAuthorizationTest, RefusesDataThatIsAByteTooShort)
{
    EXPECT_EQ(verify(Data(31)), "Invalid Authorization External Form Data");
}

TEST_F(HelperAuthorizationTest, RefusesDataThatIsAByteTooLong)
{
    EXPECT_EQ(verify(Data(33)), "Invalid Authorization External Form Data");
}

TEST_F(HelperAuthorizationTest, RefusesAFormThatYieldsNoReference)
{
    services.empty = {"AuthorizationCreateFromExternalForm"};

    EXPECT_EQ(verify(Data(32)),
              "Failed to convert the Authorization External Form to an Authorization Reference");
}

TEST_F(HelperAuthorizationTest, ThrowsTheSystemsWordsWhenTheFormToVerifyIsUnknown)
{
    EXPECT_EQ(verify(Data(32)), "Optional(The authorization is not valid or is valid no longer)");
}

TEST_F(HelperAuthorizationTest, LooksAtTheFormBeforeItLooksForTheCommand)
{
    EXPECT_EQ(verify(Data(32), "unknown:"),
              "Optional(The authorization is not valid or is valid no longer)");
}

TEST_F(HelperAuthorizationTest, RefusesACommandThatNoRightGuards)
{
    EXPECT_EQ(verify(form(), "getVersionWithCompletion:"),
              "Failed to get the correct authorization right for command: "
              "getVersionWithCompletion:");
}

TEST_F(HelperAuthorizationTest, ThrowsTheSystemsWordsWhenTheRightIsDenied)
{
    services.answers = {errAuthorizationDenied};

    EXPECT_EQ(verify(form()), "Optional(The authorization was denied)");
}

TEST_F(HelperAuthorizationTest, ThrowsTheSystemsWordsWhenThePromptForTheRightIsDismissed)
{
    services.answers = {errAuthorizationCanceled};

    EXPECT_EQ(verify(form()), "Optional(The authorization was cancelled by the user)");
}

TEST_F(HelperAuthorizationTest, RefusesANameThatNoCStringCanHold)
{
    const HelperAuthorizationRight right{"some:", std::string{"na\0me", 5}, "", {}, {}};
    const AuthorizationRef reference = HelperAuthorization::emptyAuthorizationRef(services);

    EXPECT_EQ(
        messageOf([&] { HelperAuthorization::verifyAuthorization(reference, right, services); }),
        "Failed to convert authorization name to cString");
}

} // namespace
} // namespace veltra
