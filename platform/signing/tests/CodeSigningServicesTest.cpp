#include "platform/signing/CodeSigningServices.h"

#include "platform/base/tests/SleepingProcess.h"
#include "platform/signing/LinuxCodeSigning.h"
#include "platform/signing/fakes/FakeCodeSigning.h"
#include "platform/signing/tests/SigningFolder.h"

#include <any>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

enum class Kind { system, fake };

using Certificates = std::vector<SecCertificate>;

/// Services of either kind, with a running program and a file on disk; a test says who signed them.
class AnyCodeSigning : public testing::TestWithParam<Kind> {
  protected:
    AnyCodeSigning()
    {
        if (GetParam() == Kind::system)
            services_ = std::make_unique<LinuxCodeSigning>();
        else
            services_ = std::make_unique<FakeCodeSigning>();
        fake_ = dynamic_cast<FakeCodeSigning*>(services_.get());
    }

    /// Null for nobody; returns the process's identifier.
    std::int32_t runProgramSignedBy(const SigningChain* chain)
    {
        constexpr std::int32_t imagined = 4711;
        if (fake_) {
            fake_->guests[imagined] = codeSignedBy(chain);
            return imagined;
        }
        process_ = std::make_unique<SleepingProcess>("sleep", folder_.addProgram("program", chain));
        return process_->pid();
    }

    std::string addFileSignedBy(const SigningChain* chain)
    {
        if (!fake_)
            return folder_.addProgram("file", chain);
        fake_->files["file"] = codeSignedBy(chain);
        return "file";
    }

    SecOutcome<SecCodeRef> guest(const SecDictionary& attributes)
    {
        return services_->SecCodeCopyGuestWithAttributes(nullptr, attributes, 0);
    }

    SecStaticCodeRef codeOf(std::int32_t pid)
    {
        const auto code = guest({{kSecGuestAttributePid, pid}});
        return code.object ? services_->SecCodeCopyStaticCode(*code.object, 0).object : nullptr;
    }

    /// Fails the test if the services report no certificates.
    Certificates certificatesOf(const SecStaticCode& code)
    {
        const auto answer =
            services_->SecCodeCopySigningInformation(code, kSecCSSigningInformation);
        EXPECT_EQ(answer.status, errSecSuccess);
        const auto& information = std::any_cast<const SecDictionary&>(answer.object);
        return std::any_cast<Certificates>(information.at(kSecCodeInfoCertificates));
    }

    static FakeCodeSigning::Code codeSignedBy(const SigningChain* chain)
    {
        if (!chain)
            return {.validity = errSecCSUnsigned};
        return FakeCodeSigning::signedBy(chain->certificates());
    }

    std::unique_ptr<CodeSigningServices> services_;
    FakeCodeSigning* fake_ = nullptr;
    SigningFolder folder_;
    std::unique_ptr<SleepingProcess> process_;
};

TEST_P(AnyCodeSigning, FindsASignedProgramThatRunsValid)
{
    const auto code = codeOf(runProgramSignedBy(&sharedChain()));

    ASSERT_TRUE(code);
    EXPECT_EQ(services_->SecStaticCodeCheckValidity(*code, kSecCSDoNotValidateResources |
                                                               kSecCSCheckNestedCode),
              errSecSuccess);
}

TEST_P(AnyCodeSigning, NamesTheCertificatesOfAProgramThatRunsInOrder)
{
    const auto code = codeOf(runProgramSignedBy(&sharedChain()));

    ASSERT_TRUE(code);
    EXPECT_EQ(certificatesOf(*code), sharedChain().certificates());
}

TEST_P(AnyCodeSigning, FindsAnUnsignedProgramThatRunsUnsigned)
{
    const auto code = codeOf(runProgramSignedBy(nullptr));

    ASSERT_TRUE(code);
    EXPECT_EQ(services_->SecStaticCodeCheckValidity(*code, 0), errSecCSUnsigned);
}

TEST_P(AnyCodeSigning, FindsASignedFileValidAndNamesItsCertificates)
{
    const auto code = services_->SecStaticCodeCreateWithPath(addFileSignedBy(&sharedChain()), 0);

    ASSERT_TRUE(code.object);
    EXPECT_EQ(services_->SecStaticCodeCheckValidity(*code.object, 0), errSecSuccess);
    EXPECT_EQ(certificatesOf(*code.object), sharedChain().certificates());
}

TEST_P(AnyCodeSigning, FindsAnUnsignedFileUnsigned)
{
    const auto code = services_->SecStaticCodeCreateWithPath(addFileSignedBy(nullptr), 0);

    ASSERT_TRUE(code.object);
    EXPECT_EQ(services_->SecStaticCodeCheckValidity(*code.object, 0), errSecCSUnsigned);
}

TEST_P(AnyCodeSigning, KnowsNoCodeWhereThereIsNoFile)
{
    const auto code = services_->SecStaticCodeCreateWithPath(folder_.file("nothing"), 0);

    EXPECT_EQ(code.status, errSecCSNoStaticCode);
    EXPECT_FALSE(code.object);
}

TEST_P(AnyCodeSigning, KnowsNoCodeOfAProcessThatIsNotThere)
{
    for (const std::int32_t pid : {INT32_MIN, -1, 0, INT32_MAX}) {
        const auto code = guest({{kSecGuestAttributePid, pid}});

        EXPECT_EQ(code.status, errSecCSNoSuchCode) << pid;
        EXPECT_FALSE(code.object) << pid;
    }
}

TEST_P(AnyCodeSigning, DoesNotUnderstandAGuestWithoutAPid)
{
    EXPECT_EQ(guest({}).status, errSecCSInvalidRequest);
    EXPECT_EQ(guest({{kSecGuestAttributePid, std::string{"1"}}}).status, errSecCSInvalidRequest);
    EXPECT_EQ(guest({{"name", std::int32_t{1}}}).status, errSecCSInvalidRequest);
}

TEST_P(AnyCodeSigning, DoesNotUnderstandAGuestWithFurtherAttributes)
{
    EXPECT_EQ(guest({{kSecGuestAttributePid, std::int32_t{1}}, {"name", std::string{"x"}}}).status,
              errSecCSInvalidRequest);
}

TEST_P(AnyCodeSigning, DoesNotUnderstandAnotherHostThanTheSystem)
{
    const auto self = services_->SecCodeCopySelf(0);
    const SecDictionary attributes{{kSecGuestAttributePid, std::int32_t{1}}};

    EXPECT_EQ(services_->SecCodeCopyGuestWithAttributes(self.object.get(), attributes, 0).status,
              errSecCSInvalidRequest);
}

TEST_P(AnyCodeSigning, KnowsItself)
{
    const auto self = services_->SecCodeCopySelf(0);

    ASSERT_TRUE(self.object);
    EXPECT_TRUE(services_->SecCodeCopyStaticCode(*self.object, 0).object);
}

TEST_P(AnyCodeSigning, HasWordsForItsOwnStatusesAlone)
{
    EXPECT_EQ(services_->SecCopyErrorMessageString(errSecCSUnsigned),
              "The code is not signed at all");
    EXPECT_EQ(services_->SecCopyErrorMessageString(-4711), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Of, AnyCodeSigning, testing::Values(Kind::system, Kind::fake),
                         [](const auto& kind) {
                             return kind.param == Kind::system ? "TheSystem" : "TheFake";
                         });

} // namespace
} // namespace veltra
