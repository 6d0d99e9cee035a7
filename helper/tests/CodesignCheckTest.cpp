// What the check decides, over the system's services and over the fake.

#include "helper/CodesignCheck.h"

#include "helper/CodesignCheckError.h"
#include "platform/base/tests/FinishedProgram.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/signing/fakes/FakeCodeSigning.h"
#include "platform/signing/tests/SigningFolder.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

enum class Kind { system, fake };

/// A helper and a client, each signed with a chain, or not signed where that is null.
///
/// With the system's services the helper is a program that runs the check, and the client is a
/// process.
class AnyCodesignCheck : public testing::TestWithParam<Kind> {
  protected:
    /// "true", "false", or the description of what was thrown.
    std::string match(const SigningChain* helper, const SigningChain* client)
    {
        if (GetParam() == Kind::fake)
            return matchOverFake(helper, client, imagined);
        const SleepingProcess process{"sleep", folder_.addProgram("client", client)};
        return matchOverSystem(helper, process.pid());
    }

    /// The same if there is no process with that number.
    std::string matchNobody(const SigningChain* helper)
    {
        return GetParam() == Kind::fake ? matchOverFake(helper, nullptr, imagined + 1)
                                        : matchOverSystem(helper, INT32_MAX);
    }

  private:
    static constexpr std::int32_t imagined = 4711;

    [[nodiscard]] std::string matchOverSystem(const SigningChain* helper, std::int32_t pid) const
    {
        const std::string program = folder_.addProgram("helper", helper, VELTRA_TEST_CHECK_CLIENT);
        std::string output = finishedProgram({program, "matches", std::to_string(pid)}).output;
        return output.substr(0, output.find('\n'));
    }

    static std::string matchOverFake(const SigningChain* helper, const SigningChain* client,
                                     std::int32_t pid)
    {
        FakeCodeSigning services;
        services.self = codeSignedBy(helper);
        services.guests[imagined] = codeSignedBy(client);
        try {
            return CodesignCheck::codeSigningMatches(pid, services) ? "true" : "false";
        } catch (const CodesignCheckError& error) {
            return error.description();
        }
    }

    static FakeCodeSigning::Code codeSignedBy(const SigningChain* chain)
    {
        if (!chain)
            return {.validity = errSecCSUnsigned};
        return FakeCodeSigning::signedBy(chain->certificates());
    }

    SigningFolder folder_;
};

TEST_P(AnyCodesignCheck, AcceptsAnotherProgramThatTheSameChainSigned)
{
    EXPECT_EQ(match(&sharedChain(), &sharedChain()), "true");
}

TEST_P(AnyCodesignCheck, RefusesAProgramThatAnotherChainSigned)
{
    // All of its names are equal.
    const SigningChain stranger;

    EXPECT_EQ(match(&sharedChain(), &stranger), "false");
}

TEST_P(AnyCodesignCheck, RefusesAnotherSignerUnderTheSameIssuers)
{
    const SigningChain own;
    SigningChain other;
    const Identity leaf = makeIdentity("Signer", &own.issuer, {});
    other.anchor = copyOf(own.anchor);
    other.issuer = copyOf(own.issuer);
    other.signer = copyOf(leaf);

    EXPECT_EQ(match(&own, &other), "false");
}

TEST_P(AnyCodesignCheck, RefusesTheSameSignerUnderOtherIssuers)
{
    const SigningChain own;
    SigningChain other;
    other.signer = makeIdentity("Signer", &other.issuer, {}, copyOf(own.signer).key);

    EXPECT_EQ(match(&own, &other), "false");
}

TEST_P(AnyCodesignCheck, ThrowsAtAnUnsignedClient)
{
    EXPECT_EQ(match(&sharedChain(), nullptr),
              "message(\"Optional(The code is not signed at all)\")");
}

TEST_P(AnyCodesignCheck, ThrowsWhenItIsNotSignedItself)
{
    EXPECT_EQ(match(nullptr, &sharedChain()),
              "message(\"Optional(The code is not signed at all)\")");
}

TEST_P(AnyCodesignCheck, ThrowsAtItsOwnSignatureBeforeItLooksAtTheClient)
{
    EXPECT_EQ(matchNobody(nullptr), "message(\"Optional(The code is not signed at all)\")");
}

TEST_P(AnyCodesignCheck, ThrowsWhenThereIsNoSuchProcess)
{
    EXPECT_EQ(matchNobody(&sharedChain()),
              "message(\"Optional(No program runs under this process identifier)\")");
}

INSTANTIATE_TEST_SUITE_P(Over, AnyCodesignCheck, testing::Values(Kind::system, Kind::fake),
                         [](const auto& kind) {
                             return kind.param == Kind::system ? "TheSystem" : "TheFake";
                         });

} // namespace
} // namespace veltra
