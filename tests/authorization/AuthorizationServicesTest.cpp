// What the seven operations promise, with polkit and with the fake.

#include "platform/rights/fakes/FakeAuthorization.h"
#include "platform/rights/fakes/FakeServiceManagement.h"
#include "tests/authorization/AuthorizationSession.h"
#include "tests/authorization/PolkitWorld.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

enum class Kind { polkit, fake };
using Answer = ScriptedAgent::Answer;

const std::string definition = R"({"class":"user","group":"admin","version":1})";

/// A process that calls the services.
class AnyClient {
  public:
    AnyClient() = default;
    AnyClient(const AnyClient&) = delete;
    AnyClient& operator=(const AnyClient&) = delete;
    virtual ~AnyClient() = default;

    virtual std::string ask(const std::string& command) = 0;
    /// What its user does in every prompt.
    virtual void setAnswer(Answer answer) = 0;
};

class AnyPolkitClient : public AnyClient {
  public:
    explicit AnyPolkitClient(int user) : client_{user} {}

    std::string ask(const std::string& command) override { return client_.ask(command); }
    void setAnswer(Answer answer) override
    {
        agent_ = std::make_unique<ScriptedAgent>(client_.pid(), answer);
    }

  private:
    PolkitClient client_;
    std::unique_ptr<ScriptedAgent> agent_;
};

class AnyFakeClient : public AnyClient {
  public:
    AnyFakeClient(const std::shared_ptr<FakeAuthorization::System>& system, int user)
        : services_{system, static_cast<uid_t>(user)}
    {
        session_.obey("create");
    }

    std::string ask(const std::string& command) override { return session_.obey(command); }
    void setAnswer(Answer answer) override
    {
        const OSStatus status = answer == Answer::authenticate ? errAuthorizationSuccess
                                : answer == Answer::dismiss    ? errAuthorizationCanceled
                                                               : errAuthorizationDenied;
        services_.answers.assign(10, status);
    }

  private:
    FakeAuthorization services_;
    FakeServiceManagement management_;
    AuthorizationSession session_{services_, management_};
};

class AnyAuthorizationServices : public testing::TestWithParam<Kind> {
  protected:
    using Client = std::unique_ptr<AnyClient>;

    Client client(int user = someUser)
    {
        if (GetParam() == Kind::polkit)
            return std::make_unique<AnyPolkitClient>(user);
        return std::make_unique<AnyFakeClient>(system_, user);
    }

    void store(const std::string& text)
    {
        if (GetParam() == Kind::polkit)
            return storeRight(text);
        system_->rights[guardingRight] = {RightDefinition::parse(text, nullptr, false), ""};
        if (system_->rights[guardingRight].definition.is_discarded())
            system_->rights[guardingRight].definition = nullptr;
    }

    const std::string get_ = "get " + guardingRight;

  private:
    std::shared_ptr<FakeAuthorization::System> system_ =
        std::make_shared<FakeAuthorization::System>();
};

TEST_P(AnyAuthorizationServices, KnowNoRightThatNobodyAdded)
{
    EXPECT_EQ(client()->ask(get_), "-60005");
}

TEST_P(AnyAuthorizationServices, KnowNoRightOfAnotherName)
{
    store(definition);

    EXPECT_EQ(client()->ask("get com.veltra.another"), "-60005");
}

TEST_P(AnyAuthorizationServices, AddARightWithoutAPromptAndBringItBackExactly)
{
    const Client process = client();

    EXPECT_EQ(process->ask("set"), "0");

    EXPECT_EQ(process->ask(get_), definition);
}

TEST_P(AnyAuthorizationServices, ShowEveryUserTheSameRights)
{
    EXPECT_EQ(client()->ask("set"), "0");

    EXPECT_EQ(client(anotherUser)->ask(get_), definition);
}

TEST_P(AnyAuthorizationServices, ChangeARightWhenAnAdministratorAgrees)
{
    store(R"({"version":2})");
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask(get_), R"({"version":2})");
    EXPECT_EQ(process->ask("set"), "0");

    EXPECT_EQ(process->ask(get_), definition);
}

TEST_P(AnyAuthorizationServices, LeaveARightWhenTheAdministratorDismissesThePrompt)
{
    store(R"({"version":2})");
    const Client process = client();
    process->setAnswer(Answer::dismiss);

    EXPECT_EQ(process->ask("set"), "-60006");

    EXPECT_EQ(process->ask(get_), R"({"version":2})");
}

TEST_P(AnyAuthorizationServices, LeaveARightWhenNobodyCanBeAsked)
{
    store(R"({"version":2})");

    EXPECT_EQ(client()->ask("set"), "-60007");

    EXPECT_EQ(client()->ask(get_), R"({"version":2})");
}

TEST_P(AnyAuthorizationServices, ReadADefinitionThatIsNoneAsNull)
{
    store("a definition");

    EXPECT_EQ(client()->ask(get_), "null");
}

TEST_P(AnyAuthorizationServices, AreBroughtUpToDateWhenTheRightIsMissing)
{
    const Client process = client();

    EXPECT_EQ(process->ask("update"), "nothing thrown");

    EXPECT_EQ(process->ask(get_), definition);
}

TEST_P(AnyAuthorizationServices, AreBroughtUpToDateWhenTheVersionDiffers)
{
    store(R"({"class":"user","group":"admin","version":0})");
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask("update"), "nothing thrown");

    EXPECT_EQ(process->ask(get_), definition);
}

TEST_P(AnyAuthorizationServices, AreBroughtUpToDateWhenTheDefinitionCannotBeRead)
{
    store("a definition");
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask("update"), "nothing thrown");

    EXPECT_EQ(process->ask(get_), definition);
}

TEST_P(AnyAuthorizationServices, KeepARightOfTheSameVersionThoughItsGroupDiffers)
{
    store(R"({"class":"user","group":"staff","version":1})");
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask("update"), "nothing thrown");

    EXPECT_EQ(process->ask(get_), R"({"class":"user","group":"staff","version":1})");
}

TEST_P(AnyAuthorizationServices, GainARightAtThePromptAndKeepIt)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask("has " + guardingRight + " 1"), "-60007");
    EXPECT_EQ(process->ask("has " + guardingRight + " 3"), "0");

    EXPECT_EQ(process->ask("has " + guardingRight + " 0"), "0");
}

TEST_P(AnyAuthorizationServices, GainARightWhenTheReferenceIsMade)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask("create " + guardingRight + " 19"), "0");

    EXPECT_EQ(process->ask("has " + guardingRight + " 0"), "0");
}

TEST_P(AnyAuthorizationServices, MakeNoReferenceWhenThePromptIsDismissed)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::dismiss);

    EXPECT_EQ(process->ask("create " + guardingRight + " 19"), "-60006");
}

TEST_P(AnyAuthorizationServices, MakeNoReferenceWhenTheRightIsRefused)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::giveUp);

    EXPECT_EQ(process->ask("create " + guardingRight + " 19"), "-60005");
}

TEST_P(AnyAuthorizationServices, MakeNoReferenceWhenNobodyCanBeAsked)
{
    store(definition);

    EXPECT_EQ(client()->ask("create " + guardingRight + " 19"), "-60007");
}

TEST_P(AnyAuthorizationServices, MakeNoReferenceWhenNobodyMayBeAsked)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::authenticate);

    EXPECT_EQ(process->ask("create " + guardingRight + " 18"), "-60007");
}

TEST_P(AnyAuthorizationServices, TurnAFormBackIntoAReferenceForTheSameUserAndForRoot)
{
    const Client process = client();
    const std::string form = process->ask("form");
    EXPECT_EQ(form.size(), 64U);

    EXPECT_EQ(process->ask("resolve " + form), "0");
    EXPECT_EQ(client()->ask("resolve " + form), "0");
    EXPECT_EQ(client(0)->ask("resolve " + form), "0");
}

TEST_P(AnyAuthorizationServices, TurnAFormIntoNothingForAnotherUser)
{
    const Client process = client();
    const std::string form = process->ask("form");

    EXPECT_EQ(client(anotherUser)->ask("resolve " + form), "-60002");
}

TEST_P(AnyAuthorizationServices, TurnRootsFormIntoNothingForAnotherUser)
{
    const Client process = client(0);
    const std::string form = process->ask("form");

    EXPECT_EQ(client(anotherUser)->ask("resolve " + form), "-60002");
    EXPECT_EQ(client(0)->ask("resolve " + form), "0");
}

TEST_P(AnyAuthorizationServices, ForgetAFormWhenItsProcessEnds)
{
    Client process = client();
    const std::string form = process->ask("form");
    const Client root = client(0);
    EXPECT_EQ(root->ask("resolve " + form), "0");

    process.reset();

    EXPECT_EQ(root->ask("other-has " + guardingRight + " 3"), "-60002");
    EXPECT_EQ(root->ask("resolve " + form), "-60002");
    EXPECT_EQ(client()->ask("resolve " + form), "-60002");
}

TEST_P(AnyAuthorizationServices, TurnBytesThatAreNoFormIntoNothing)
{
    EXPECT_EQ(client(0)->ask("resolve " + std::string(64, '7')), "-60002");
}

TEST_P(AnyAuthorizationServices, MakeADifferentFormEveryTime)
{
    const Client process = client();

    EXPECT_NE(process->ask("form"), process->ask("form"));
}

TEST_P(AnyAuthorizationServices, MakeNoFormOfAnotherProcesssReference)
{
    const Client process = client();
    const Client root = client(0);
    EXPECT_EQ(root->ask("resolve " + process->ask("form")), "0");

    EXPECT_EQ(root->ask("other-form"), "-60002");
}

TEST_P(AnyAuthorizationServices, LetAnotherProcessSeeWhatTheFormsProcessGained)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::authenticate);
    const Client root = client(0);
    EXPECT_EQ(root->ask("resolve " + process->ask("form")), "0");

    EXPECT_EQ(root->ask("other-has " + guardingRight + " 0"), "-60007");
    EXPECT_EQ(process->ask("has " + guardingRight + " 3"), "0");

    EXPECT_EQ(root->ask("other-has " + guardingRight + " 0"), "0");
}

TEST_P(AnyAuthorizationServices, VerifyAFormWhoseProcessHasTheRight)
{
    store(definition);
    const Client process = client();
    process->setAnswer(Answer::authenticate);
    EXPECT_EQ(process->ask("has " + guardingRight + " 3"), "0");

    EXPECT_EQ(client(0)->ask("verify " + process->ask("form")), "nothing thrown");
}

TEST_P(AnyAuthorizationServices, DoNotVerifyAFormWhoseProcessHasNotTheRight)
{
    store(definition);
    const Client process = client();

    EXPECT_EQ(client(0)->ask("verify " + process->ask("form")),
              "Optional(The user would have to be asked for credentials and cannot be)");
}

INSTANTIATE_TEST_SUITE_P(Over, AnyAuthorizationServices, testing::Values(Kind::polkit, Kind::fake),
                         [](const auto& kind) {
                             return kind.param == Kind::polkit ? "Polkit" : "TheFake";
                         });

} // namespace
} // namespace veltra
