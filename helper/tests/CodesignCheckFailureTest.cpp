// The failures that the system's services cannot be made to produce, and which calls are made in
// which order.

#include "helper/CodesignCheck.h"
#include "helper/CodesignCheckError.h"
#include "platform/signing/fakes/FakeCodeSigning.h"

#include <any>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Calls = std::vector<std::string>;
using Certificates = CodesignCheck::Certificates;

constexpr std::int32_t client = 4711;
constexpr OSStatus platformStatus = -12;
constexpr OSStatus wordlessStatus = -13;

const SecCertificate leaf{{'l', 'e', 'a', 'f'}};
const SecCertificate issuer{{'i', 's', 's', 'u', 'e', 'r'}};
const SecCertificate anchor{{'a', 'n', 'c', 'h', 'o', 'r'}};

class FakedCodesignCheck : public testing::Test {
  protected:
    FakedCodesignCheck()
    {
        services_.self = FakeCodeSigning::signedBy({leaf, issuer, anchor});
        services_.guests[client] = services_.self;
        services_.files["/bundle"] = services_.self;
        services_.texts[platformStatus] = "the platform's words";
    }

    /// What `ask` throws; empty when it throws nothing.
    static std::string thrownBy(const std::function<void()>& ask)
    {
        try {
            ask();
            return "";
        } catch (const CodesignCheckError& error) {
            return error.message();
        }
    }

    std::string thrownByMatches()
    {
        return thrownBy(
            [this] { static_cast<void>(CodesignCheck::codeSigningMatches(client, services_)); });
    }

    std::string thrownByPid()
    {
        return thrownBy([this] {
            static_cast<void>(CodesignCheck::codeSigningCertificates(client, services_));
        });
    }

    std::string thrownByPath()
    {
        return thrownBy([this] {
            static_cast<void>(CodesignCheck::codeSigningCertificates(
                std::filesystem::path{"/bundle"}, services_));
        });
    }

    bool matches() { return CodesignCheck::codeSigningMatches(client, services_); }

    void signClientBy(const Certificates& certificates)
    {
        services_.guests[client] = FakeCodeSigning::signedBy(certificates);
    }

    FakeCodeSigning services_;
};

using CodesignCheckFailure = FakedCodesignCheck;

TEST_F(CodesignCheckFailure, IsDescribedAsTheCaseWithItsText)
{
    const auto error = CodesignCheckError::message("the text");

    EXPECT_EQ(error.description(), "message(\"the text\")");
    EXPECT_STREQ(error.what(), "message(\"the text\")");
    EXPECT_EQ(error.message(), "the text");
}

TEST_F(CodesignCheckFailure, IsSelfWithoutACodeObject)
{
    services_.empty.insert("SecCodeCopySelf");

    EXPECT_EQ(thrownByMatches(), "SecCode returned empty from SecCodeCopySelf");
}

TEST_F(CodesignCheckFailure, IsAGuestWithoutACodeObject)
{
    services_.empty.insert("SecCodeCopyGuestWithAttributes");

    EXPECT_EQ(thrownByMatches(), "SecCode returned empty from SecCodeCopyGuestWithAttributes");
}

TEST_F(CodesignCheckFailure, IsCodeWithoutStaticCode)
{
    services_.empty.insert("SecCodeCopyStaticCode");

    EXPECT_EQ(thrownByMatches(), "SecStaticCode returned empty from SecCodeCopyStaticCode");
    EXPECT_EQ(thrownByPid(), "SecStaticCode returned empty from SecCodeCopyStaticCode");
}

TEST_F(CodesignCheckFailure, IsAPathWithoutStaticCode)
{
    services_.empty.insert("SecStaticCodeCreateWithPath");

    EXPECT_EQ(thrownByPath(), "SecStaticCode returned empty from SecStaticCodeCreateWithPath");
}

TEST_F(CodesignCheckFailure, IsSigningInformationWithoutADictionary)
{
    services_.empty.insert("SecCodeCopySigningInformation");

    EXPECT_EQ(thrownByMatches(), "CFDictionary returned empty from SecCodeCopySigningInformation");
}

TEST_F(CodesignCheckFailure, IsSigningInformationThatIsNoDictionaryFromTexts)
{
    services_.self.information = std::map<int, std::any>{};

    EXPECT_EQ(thrownByMatches(), "CFDictionary returned empty from SecCodeCopySigningInformation");
}

TEST_F(CodesignCheckFailure, IsTheStatusOfAnyCallInThePlatformsWords)
{
    for (const char* const call :
         {"SecCodeCopySelf", "SecCodeCopyGuestWithAttributes", "SecCodeCopyStaticCode",
          "SecStaticCodeCheckValidity", "SecCodeCopySigningInformation"}) {
        services_.failing = {{call, platformStatus}};

        EXPECT_EQ(thrownByMatches(), "Optional(the platform's words)") << call;
    }
}

TEST_F(CodesignCheckFailure, IsTheStatusOfThePathInThePlatformsWords)
{
    services_.failing["SecStaticCodeCreateWithPath"] = platformStatus;

    EXPECT_EQ(thrownByPath(), "Optional(the platform's words)");
}

TEST_F(CodesignCheckFailure, IsNilWhenThePlatformHasNoWords)
{
    services_.failing["SecStaticCodeCheckValidity"] = wordlessStatus;

    EXPECT_EQ(thrownByMatches(), "nil");
}

TEST_F(CodesignCheckFailure, IsTheStatusRatherThanTheMissingObject)
{
    services_.empty.insert("SecCodeCopySelf");
    services_.failing["SecCodeCopySelf"] = platformStatus;

    EXPECT_EQ(thrownByMatches(), "Optional(the platform's words)");
}

TEST_F(CodesignCheckFailure, IsItsOwnRatherThanTheClients)
{
    services_.self.validity = errSecCSSignatureFailed;
    services_.guests[client].validity = errSecCSUnsigned;

    EXPECT_EQ(thrownByMatches(), "Optional(The signature does not fit the code)");
}

TEST_F(CodesignCheckFailure, IsAnInvalidClientWithTheRightCertificates)
{
    services_.guests[client].validity = errSecCSSignatureFailed;

    EXPECT_EQ(thrownByMatches(), "Optional(The signature does not fit the code)");
}

TEST(CodesignCheckOrder, ValidatesBothSignaturesBeforeItComparesThem)
{
    FakeCodeSigning services;
    services.guests[client] = FakeCodeSigning::signedBy({leaf});

    EXPECT_FALSE(CodesignCheck::codeSigningMatches(client, services));

    EXPECT_EQ(services.calls(),
              (Calls{"SecCodeCopySelf 0", "SecCodeCopyStaticCode 0",
                     "SecStaticCodeCheckValidity 12", "SecCodeCopySigningInformation 2",
                     "SecCodeCopyGuestWithAttributes 0", "SecCodeCopyStaticCode 0",
                     "SecStaticCodeCheckValidity 12", "SecCodeCopySigningInformation 2"}));
}

TEST(CodesignCheckOrder, AsksForNoInformationAboutInvalidCode)
{
    FakeCodeSigning services;
    services.files["/bundle"] = {.validity = errSecCSUnsigned};

    EXPECT_THROW(static_cast<void>(CodesignCheck::codeSigningCertificates(
                     std::filesystem::path{"/bundle"}, services)),
                 CodesignCheckError);

    EXPECT_EQ(services.calls(),
              (Calls{"SecStaticCodeCreateWithPath 0", "SecStaticCodeCheckValidity 12"}));
}

using CodesignCheckComparison = FakedCodesignCheck;

TEST_F(CodesignCheckComparison, FindsTheSameCertificatesEqual)
{
    EXPECT_TRUE(matches());
}

TEST_F(CodesignCheckComparison, FindsAnotherLeafUnderTheSameIssuersUnequal)
{
    signClientBy({SecCertificate{{'?'}}, issuer, anchor});

    EXPECT_FALSE(matches());
}

TEST_F(CodesignCheckComparison, FindsAnotherAnchorAboveTheSameLeafUnequal)
{
    signClientBy({leaf, issuer, SecCertificate{{'?'}}});

    EXPECT_FALSE(matches());
}

TEST_F(CodesignCheckComparison, FindsTheSameCertificatesInAnotherOrderUnequal)
{
    signClientBy({leaf, anchor, issuer});

    EXPECT_FALSE(matches());
}

TEST_F(CodesignCheckComparison, FindsFewerCertificatesUnequal)
{
    signClientBy({leaf, issuer});

    EXPECT_FALSE(matches());
}

TEST_F(CodesignCheckComparison, FindsMoreCertificatesUnequal)
{
    signClientBy({leaf, issuer, anchor, anchor});

    EXPECT_FALSE(matches());
}

TEST_F(CodesignCheckComparison, FindsNoCertificatesUnequalToSome)
{
    signClientBy({});

    EXPECT_FALSE(matches());
}

TEST_F(CodesignCheckComparison, FindsNoCertificatesOnEitherSideEqual)
{
    services_.self = FakeCodeSigning::signedBy({});
    signClientBy({});

    EXPECT_TRUE(matches());
}

TEST_F(CodesignCheckComparison, TakesInformationThatNamesNoCertificatesForNone)
{
    services_.files["/bundle"].information = SecDictionary{{"other", std::string{"x"}}};

    EXPECT_EQ(CodesignCheck::codeSigningCertificates(std::filesystem::path{"/bundle"}, services_),
              Certificates{});
}

TEST_F(CodesignCheckComparison, TakesCertificatesOfAnotherTypeForNone)
{
    services_.files["/bundle"].information =
        SecDictionary{{kSecCodeInfoCertificates, std::string{"certificates"}}};

    EXPECT_EQ(CodesignCheck::codeSigningCertificates(std::filesystem::path{"/bundle"}, services_),
              Certificates{});
}

} // namespace
} // namespace veltra
