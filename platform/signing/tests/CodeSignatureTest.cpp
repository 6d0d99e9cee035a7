#include "platform/signing/CodeSignature.h"

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/signing/tests/CraftedSignature.h"
#include "platform/signing/tests/SignedFile.h"
#include "platform/signing/tests/SigningChain.h"

#include <array>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace veltra {
namespace {

const std::string content = "the bytes of a program";

class CodeSignatureTest : public testing::Test {
  protected:
    /// The result for `content` followed by a signature made by the test.
    [[nodiscard]] OSStatus statusOfCrafted(const CraftOptions& options) const
    {
        return statusOfDer(craftSignature(content, options));
    }

    [[nodiscard]] OSStatus statusOfDer(const std::string& der) const
    {
        return statusOfBytes(withSignature(content, der));
    }

    [[nodiscard]] OSStatus statusOfBytes(const std::string& bytes) const
    {
        folder_.write("file", bytes);
        return statusOf(folder_.file("file"));
    }

    TemporaryFolder folder_;
};

TEST_F(CodeSignatureTest, FitsWhatWasSigned)
{
    folder_.write("file", content);

    signFile(folder_.file("file"));

    EXPECT_EQ(statusOf(folder_.file("file")), errSecSuccess);
}

TEST_F(CodeSignatureTest, HoldsTheWholeChainInOrder)
{
    folder_.write("file", content);

    signFile(folder_.file("file"));

    EXPECT_EQ(certificatesIn(folder_.file("file")), sharedChain().certificates());
}

TEST_F(CodeSignatureTest, SignsAllThatStandsBeforeIt)
{
    folder_.write("file", content);
    signFile(folder_.file("file"));
    const Fd file{::open(folder_.file("file").c_str(), O_RDONLY | O_CLOEXEC)};

    const auto signature = CodeSignature::read(file.get());

    ASSERT_TRUE(signature.object);
    EXPECT_EQ(signature.object->signedSize(), content.size());
}

TEST_F(CodeSignatureTest, FitsAFileOfSeveralMegabytes)
{
    folder_.write("file", std::string(5'000'001, 'x'));

    signFile(folder_.file("file"));

    EXPECT_EQ(statusOf(folder_.file("file")), errSecSuccess);
}

TEST_F(CodeSignatureTest, IsNotThereInAFileThatNobodySigned)
{
    EXPECT_EQ(statusOfBytes(content), errSecCSUnsigned);
}

TEST_F(CodeSignatureTest, OfAnotherFileDoesNotFit)
{
    EXPECT_EQ(statusOfDer(craftSignature(content + ".", {})), errSecCSSignatureFailed);
}

TEST_F(CodeSignatureTest, DoesNotFitAFileThatGrewBeforeIt)
{
    const std::string der = craftSignature(content, {});

    EXPECT_EQ(statusOfBytes(withSignature(content + "x", der)), errSecCSSignatureFailed);
    EXPECT_EQ(statusOfBytes(withSignature("x" + content, der)), errSecCSSignatureFailed);
}

TEST_F(CodeSignatureTest, ThatItselfWasSignedAgainIsTheContentOfTheOuterOne)
{
    const std::string inner = withSignature(content, craftSignature(content, {}));

    EXPECT_EQ(statusOfBytes(withSignature(inner, craftSignature(inner, {}))), errSecSuccess);
    EXPECT_EQ(statusOfBytes(withSignature(inner, craftSignature(content, {}))),
              errSecCSSignatureFailed);
}

TEST_F(CodeSignatureTest, IsMalformedWhenItIsNoDer)
{
    EXPECT_EQ(statusOfDer("no DER at all"), errSecCSSignatureMalformed);
}

TEST_F(CodeSignatureTest, IsMalformedWhenSomethingFollowsIt)
{
    EXPECT_EQ(statusOfDer(craftSignature(content, {}) + '\0'), errSecCSSignatureMalformed);
}

TEST_F(CodeSignatureTest, IsMalformedInAnyOtherEncodingThanDer)
{
    std::string der = craftSignature(content, {});
    ASSERT_EQ(der.substr(0, 2), "\x30\x82");
    // The same with an indefinite length.
    const std::string ber = "\x30\x80" + der.substr(4) + std::string(2, '\0');

    EXPECT_EQ(statusOfDer(ber), errSecCSSignatureMalformed);
}

TEST_F(CodeSignatureTest, IsUnsupportedWhenItHoldsWhatItSigns)
{
    EXPECT_EQ(statusOfCrafted({.flags = CMS_BINARY | CMS_NOSMIMECAP}),
              errSecCSSignatureUnsupported);
}

TEST_F(CodeSignatureTest, IsUnsupportedWithAnotherDigestThanSha256)
{
    for (const EVP_MD* const digest : std::array{EVP_sha1(), EVP_sha384(), EVP_sha512()})
        EXPECT_EQ(statusOfCrafted({.digest = digest}), errSecCSSignatureUnsupported);
}

TEST_F(CodeSignatureTest, IsUnsupportedWithoutSignedAttributes)
{
    EXPECT_EQ(statusOfCrafted({.flags = CMS_BINARY | CMS_DETACHED | CMS_NOATTR}),
              errSecCSSignatureUnsupported);
}

TEST_F(CodeSignatureTest, IsUnsupportedWithAttributesThatNobodySigned)
{
    const auto addAttribute = [](CMS_ContentInfo* signature) {
        CMS_SignerInfo* const signer = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(signature), 0);
        CMS_unsigned_add1_attr_by_NID(signer, NID_pkcs9_unstructuredName, V_ASN1_UTF8STRING, "x",
                                      1);
    };

    EXPECT_EQ(statusOfCrafted({.after = addAttribute}), errSecCSSignatureUnsupported);
}

TEST_F(CodeSignatureTest, IsUnsupportedWithTwoSigners)
{
    const auto addSigner = [](CMS_ContentInfo* signature) {
        CMS_add1_signer(signature, sharedChain().signer.certificate.get(),
                        sharedChain().signer.key.get(), EVP_sha256(),
                        CMS_BINARY | CMS_DETACHED | CMS_PARTIAL | CMS_NOCERTS);
    };

    EXPECT_EQ(statusOfCrafted({.before = addSigner}), errSecCSSignatureUnsupported);
}

TEST_F(CodeSignatureTest, IsUnsupportedWhenItIsAnotherKindOfMessage)
{
    const BioPointer reader{BIO_new_mem_buf("data", 4)};
    const CmsPointer data{CMS_data_create(reader.get(), CMS_BINARY)};
    const auto der = derOf<&i2d_CMS_ContentInfo>(data.get());

    EXPECT_EQ(statusOfDer({der.begin(), der.end()}), errSecCSSignatureUnsupported);
}

TEST_F(CodeSignatureTest, IsInvalidWithoutAnyCertificate)
{
    EXPECT_EQ(statusOfCrafted({.certificates = {}}), errSecCSCertificatesInvalid);
}

TEST_F(CodeSignatureTest, IsInvalidWithoutTheSignersCertificate)
{
    EXPECT_EQ(statusOfCrafted({.certificates = {sharedChain().issuer.certificate.get(),
                                                sharedChain().anchor.certificate.get()}}),
              errSecCSCertificatesInvalid);
}

TEST_F(CodeSignatureTest, IsInvalidWithAChainThatIsTooShort)
{
    EXPECT_EQ(statusOfCrafted({.certificates = {sharedChain().signer.certificate.get()}}),
              errSecCSCertificatesInvalid);
}

TEST_F(CodeSignatureTest, DoesNotFitWhenAnotherKeyMadeItInTheSignersName)
{
    X509* const signer = sharedChain().signer.certificate.get();
    const Identity thief = makeIdentity("Thief", &sharedChain().issuer, {});
    X509_set_serialNumber(thief.certificate.get(), X509_get_serialNumber(signer));

    EXPECT_EQ(statusOfCrafted({.signer = &thief}), errSecCSSignatureFailed);
}

TEST_F(CodeSignatureTest, MayBeMadeWithAnRsaKey)
{
    const SigningChain& chain = sharedChain();
    const Identity signer =
        makeIdentity("Signer", &chain.issuer, {}, KeyPointer{EVP_RSA_gen(2048)});

    EXPECT_EQ(
        statusOfCrafted({.signer = &signer,
                         .certificates = {signer.certificate.get(), chain.issuer.certificate.get(),
                                          chain.anchor.certificate.get()}}),
        errSecSuccess);
}

TEST_F(CodeSignatureTest, LeavesNoFailureBehindForTheNextCallerOfOpenSsl)
{
    ERR_clear_error();

    EXPECT_EQ(statusOfDer("no DER at all"), errSecCSSignatureMalformed);
    EXPECT_EQ(ERR_peek_error(), 0UL);
}

} // namespace
} // namespace veltra
