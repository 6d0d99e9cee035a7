#include "platform/signing/CertificateChain.h"

#include "platform/signing/tests/SigningChain.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Certificates = std::vector<SecCertificate>;

class CertificateChainTest : public testing::Test {
  protected:
    /// The chain from `signer` on, found among the certificates of all of them.
    static SecOutcome<Certificates> chainFrom(const Identity& signer,
                                              const std::vector<const Identity*>& all)
    {
        const X509sPointer certificates{sk_X509_new_null()};
        for (const Identity* const one : all) {
            X509_up_ref(one->certificate.get());
            sk_X509_push(certificates.get(), one->certificate.get());
        }
        return certificateChain(signer.certificate.get(), certificates.get());
    }

    /// The result for a different kind of signer's certificate under the usual issuers.
    [[nodiscard]] OSStatus statusOfSigner(const CertificateOptions& options) const
    {
        const Identity signer = makeIdentity("Signer", &chain_.issuer, options);
        return chainFrom(signer, {&signer, &chain_.issuer, &chain_.anchor}).status;
    }

    /// The result for a different kind of issuer's certificate.
    [[nodiscard]] OSStatus statusOfIssuer(const CertificateOptions& options) const
    {
        const Identity issuer = makeIdentity("Issuer", &chain_.anchor, options);
        const Identity signer = makeIdentity("Signer", &issuer, {});
        return chainFrom(signer, {&signer, &issuer, &chain_.anchor}).status;
    }

    const SigningChain& chain_ = sharedChain();
};

TEST_F(CertificateChainTest, GoesFromTheSignerToTheAnchorWhateverTheOrderTheyCameIn)
{
    const auto found = chainFrom(chain_.signer, {&chain_.anchor, &chain_.signer, &chain_.issuer});

    EXPECT_EQ(found.status, errSecSuccess);
    EXPECT_EQ(found.object, chain_.certificates());
}

TEST_F(CertificateChainTest, IsOneCertificateWhenTheSignerSignedItself)
{
    const Identity alone = makeIdentity("Alone", nullptr, {});

    const auto found = chainFrom(alone, {&alone});

    EXPECT_EQ(found.status, errSecSuccess);
    EXPECT_EQ(found.object, Certificates{contentOf(alone.certificate.get())});
}

TEST_F(CertificateChainTest, IsInvalidWithoutTheIssuer)
{
    EXPECT_EQ(chainFrom(chain_.signer, {&chain_.signer, &chain_.anchor}).status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWithoutTheAnchor)
{
    EXPECT_EQ(chainFrom(chain_.signer, {&chain_.signer, &chain_.issuer}).status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWithACertificateThatHasNoPlaceInIt)
{
    const Identity stranger = makeIdentity("Stranger", &chain_.anchor, {});

    EXPECT_EQ(chainFrom(chain_.signer, {&chain_.signer, &chain_.issuer, &chain_.anchor, &stranger})
                  .status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWithTheSameCertificateTwice)
{
    EXPECT_EQ(
        chainFrom(chain_.signer, {&chain_.signer, &chain_.issuer, &chain_.anchor, &chain_.anchor})
            .status,
        errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWithTwoAnchors)
{
    const Identity stranger = makeIdentity("Stranger", nullptr, issuing);

    EXPECT_EQ(chainFrom(chain_.signer, {&chain_.signer, &chain_.issuer, &chain_.anchor, &stranger})
                  .status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWithAnotherIssuerOfTheSameName)
{
    const Identity impostor = makeIdentity("Issuer", &chain_.anchor, issuing);

    EXPECT_EQ(chainFrom(chain_.signer, {&chain_.signer, &impostor, &chain_.anchor}).status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWithAnotherAnchorOfTheSameName)
{
    const Identity impostor = makeIdentity("Anchor", nullptr, issuing);

    EXPECT_EQ(chainFrom(chain_.signer, {&chain_.signer, &chain_.issuer, &impostor}).status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsInvalidWhenAnIssuerMayNotIssue)
{
    EXPECT_EQ(statusOfIssuer({.extendedKeyUsage = "", .keyUsage = "keyCertSign"}),
              errSecCSCertificatesInvalid);
    EXPECT_EQ(statusOfIssuer({.isIssuer = true, .extendedKeyUsage = "", .keyUsage = "cRLSign"}),
              errSecCSCertificatesInvalid);
    EXPECT_EQ(statusOfIssuer(issuing), errSecSuccess);
}

TEST_F(CertificateChainTest, IsInvalidWithAKeyThatIsTooWeak)
{
    const Identity weak = makeIdentity("Weak", &chain_.issuer, {}, KeyPointer{EVP_RSA_gen(1024)});

    EXPECT_EQ(chainFrom(weak, {&weak, &chain_.issuer, &chain_.anchor}).status,
              errSecCSCertificatesInvalid);
}

TEST_F(CertificateChainTest, IsUnfitWhenTheSignersCertificateIsNotMeantForCode)
{
    EXPECT_EQ(statusOfSigner({.extendedKeyUsage = "serverAuth"}), errSecCSCertificatesUnfit);
    EXPECT_EQ(statusOfSigner({.extendedKeyUsage = ""}), errSecCSCertificatesUnfit);
    EXPECT_EQ(statusOfSigner({.keyUsage = "keyEncipherment"}), errSecCSCertificatesUnfit);
    EXPECT_EQ(statusOfSigner({}), errSecSuccess);
}

TEST_F(CertificateChainTest, StaysGoodWhenItsCertificatesHaveExpired)
{
    EXPECT_EQ(statusOfSigner({.secondsLeft = -3600}), errSecSuccess);
}

TEST_F(CertificateChainTest, IsNotLookedForAmongMoreThanTenCertificates)
{
    const std::vector<const Identity*> eleven(11, &chain_.signer);

    EXPECT_EQ(chainFrom(chain_.signer, eleven).status, errSecCSSignatureUnsupported);
}

TEST_F(CertificateChainTest, LeavesNoFailureBehindForTheNextCallerOfOpenSsl)
{
    ERR_clear_error();

    const auto found = chainFrom(chain_.signer, {&chain_.signer});

    EXPECT_EQ(found.status, errSecCSCertificatesInvalid);
    EXPECT_EQ(ERR_peek_error(), 0UL);
}

} // namespace
} // namespace veltra
