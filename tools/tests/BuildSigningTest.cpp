// Runs make-signing-chain, and checks what the build signed with the chain that it made.

#include "platform/base/tests/FinishedProgram.h"
#include "platform/signing/CodeSigner.h"
#include "platform/signing/tests/SigningFolder.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

using Certificates = std::vector<SecCertificate>;

/// The certificates in a PEM file.
Certificates certificatesInPem(const std::string& path)
{
    Certificates certificates;
    const BioPointer file{BIO_new_file(path.c_str(), "r")};
    while (const X509Pointer certificate{PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr)})
        certificates.push_back(contentOf(certificate.get()));
    return certificates;
}

class MakeSigningChain : public testing::Test {
  protected:
    [[nodiscard]] FinishedProgram run() const
    {
        return finishedProgram({VELTRA_MAKE_SIGNING_CHAIN, key_, chain_});
    }

    TemporaryFolder folder_;
    const std::string key_ = folder_.file("new/key.pem");
    const std::string chain_ = folder_.file("new/chain.pem");
};

TEST_F(MakeSigningChain, MakesASignerAnIssuerAndAnAnchor)
{
    ASSERT_EQ(run().status, 0);

    const Certificates certificates = certificatesInPem(chain_);
    ASSERT_EQ(certificates.size(), 3U);
    EXPECT_EQ(certificates[0].subject(), "CN=Veltra Development Signer,O=Veltra");
    EXPECT_EQ(certificates[1].subject(), "CN=Veltra Development Issuer,O=Veltra");
    EXPECT_EQ(certificates[2].subject(), "CN=Veltra Development Root,O=Veltra");
}

TEST_F(MakeSigningChain, MakesWhatCodeCanBeSignedWith)
{
    ASSERT_EQ(run().status, 0);
    folder_.write("file", "content");

    const auto signer = CodeSigner::open(key_, chain_);

    ASSERT_TRUE(signer) << signer.error().message();
    EXPECT_TRUE(signer.value().sign(folder_.file("file")));
}

TEST_F(MakeSigningChain, KeepsTheKeyFromEverybodyElse)
{
    ASSERT_EQ(run().status, 0);
    struct stat status {};

    ASSERT_EQ(::stat(key_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(MakeSigningChain, KeepsNoIssuersKey)
{
    ASSERT_EQ(run().status, 0);

    EXPECT_EQ(std::distance(fs::directory_iterator{folder_.file("new")}, {}), 2);
}

TEST_F(MakeSigningChain, MakesAnotherOneEachTime)
{
    ASSERT_EQ(run().status, 0);
    const Certificates first = certificatesInPem(chain_);
    fs::remove_all(folder_.file("new"));

    ASSERT_EQ(run().status, 0);

    const Certificates second = certificatesInPem(chain_);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_NE(first.at(i), second.at(i));
}

TEST_F(MakeSigningChain, WritesOverNothing)
{
    ASSERT_EQ(run().status, 0);
    const std::string before = bytesOf(key_) + bytesOf(chain_);

    const FinishedProgram again = run();

    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.error, "make-signing-chain: " + key_ + " is there already\n");
    EXPECT_EQ(bytesOf(key_) + bytesOf(chain_), before);
}

TEST_F(MakeSigningChain, TellsItsUsage)
{
    const FinishedProgram result = finishedProgram({VELTRA_MAKE_SIGNING_CHAIN, key_});

    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.error, "usage: make-signing-chain KEY CHAIN\n");
}

/// The executables in the bundle that the build made.
std::vector<std::string> executablesOfTheBundle()
{
    std::vector<std::string> executables;
    for (const auto& entry : fs::recursive_directory_iterator{VELTRA_BUNDLE})
        if (entry.is_regular_file() && bytesOf(entry.path())
                                           .starts_with("\x7F"
                                                        "ELF"))
            executables.push_back(entry.path());
    return executables;
}

TEST(BuiltBundle, HoldsNothingButSignedExecutables)
{
    const auto executables = executablesOfTheBundle();

    ASSERT_FALSE(executables.empty());
    for (const std::string& executable : executables) {
        const FinishedProgram result = finishedProgram({VELTRA_CODESIGN, "verify", executable});

        EXPECT_EQ(result.status, 0) << result.error;
    }
}

TEST(BuiltBundle, IsSignedByTheChainOfTheBuild)
{
    const Certificates chain = certificatesInPem(VELTRA_CHAIN);

    ASSERT_GE(chain.size(), 1U);
    for (const std::string& executable : executablesOfTheBundle())
        EXPECT_EQ(certificatesIn(executable), chain) << executable;
}

TEST(BuiltBundle, VerifiesAsAWhole)
{
    EXPECT_EQ(finishedProgram({VELTRA_CODESIGN, "verify", VELTRA_BUNDLE}).status, 0);
}

} // namespace
} // namespace veltra
