#include "platform/signing/SecCertificate.h"

#include "platform/signing/tests/SigningChain.h"

#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

SecCertificate certificateNamed(const std::string& name)
{
    return contentOf(makeIdentity(name, nullptr, {}).certificate.get());
}

TEST(SecCertificate, EqualsAnotherOfTheSameContent)
{
    X509* const signer = sharedChain().signer.certificate.get();

    EXPECT_EQ(contentOf(signer), contentOf(signer));
}

TEST(SecCertificate, DiffersFromAnotherOfTheSameName)
{
    EXPECT_NE(certificateNamed("Signer"), certificateNamed("Signer"));
}

TEST(SecCertificate, TellsItsSubjectInLettersOfAnyLanguage)
{
    EXPECT_EQ(certificateNamed("J\xC3\xBCrgen").subject(), "CN=J\xC3\xBCrgen");
}

TEST(SecCertificate, TellsControlCharactersOfItsSubjectEscaped)
{
    EXPECT_EQ(certificateNamed("a\x1B[2Jb\nc").subject(), "CN=a\\1B[2Jb\\0Ac");
}

TEST(SecCertificate, HasNoSubjectWhenItIsNone)
{
    EXPECT_EQ(SecCertificate({'n', 'o'}).subject(), "");
}

TEST(SecCertificate, HasTheSha256OfItsContentAsItsFingerprint)
{
    EXPECT_EQ(SecCertificate({'a', 'b', 'c'}).sha256Fingerprint(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

} // namespace
} // namespace veltra
