#include "platform/signing/CodeSigner.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/signing/tests/SigningFolder.h"

#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

using KeyContextPointer = std::unique_ptr<EVP_PKEY_CTX, OpenSslFree<&EVP_PKEY_CTX_free>>;

/// A folder with a chain, and with what a test makes of it.
class CodeSignerTest : public testing::Test {
  protected:
    CodeSignerTest()
    {
        chain_.write(pems_);
        folder_.write("file", "content");
    }

    [[nodiscard]] Result<CodeSigner> open() const
    {
        return CodeSigner::open(pems_.file("key.pem"), pems_.file("chain.pem"));
    }

    /// The reason why the signer cannot be created; empty if it can.
    [[nodiscard]] std::string failure() const
    {
        const auto signer = open();
        return signer ? "" : signer.error().message();
    }

    void writeChain(const std::vector<const Identity*>& identities) const
    {
        pems_.write("chain.pem", "");
        for (const Identity* const one : identities)
            pems_.append("chain.pem", pemOf(one->certificate.get()));
    }

    [[nodiscard]] std::string text(const char* action, const char* file,
                                   const std::string& reason) const
    {
        return std::string{action} + " " + pems_.file(file) + ": " + reason;
    }

    void expectNotToSignWith(KeyPointer key) const
    {
        const Identity signer = makeIdentity("Signer", &chain_.issuer, {}, std::move(key));
        writeChain({&signer, &chain_.issuer, &chain_.anchor});
        pems_.write("key.pem", pemOf(signer.key.get()));

        EXPECT_EQ(failureToSign(folder_.file("file")),
                  "sign " + folder_.file("file") + ": " +
                      codeSigningText(errSecCSSignatureUnsupported).value());
        EXPECT_EQ(bytesOf(folder_.file("file")), "content");
    }

    /// Empty when the file was signed.
    [[nodiscard]] std::string failureToSign(const std::string& path) const
    {
        const auto result = open().value().sign(path);
        return result ? "" : result.error().message();
    }

    const SigningChain& chain_ = sharedChain();
    SigningFolder folder_;
    TemporaryFolder pems_;
};

const std::string malformed = "Bad message";

TEST_F(CodeSignerTest, ReplacesTheSignatureThatAFileHas)
{
    const SigningChain stranger;
    signFile(folder_.file("file"), stranger);

    EXPECT_EQ(failureToSign(folder_.file("file")), "");
    EXPECT_EQ(certificatesIn(folder_.file("file")), chain_.certificates());
    EXPECT_EQ(bytesOf(folder_.file("file")), withSignature("content", derOf(folder_.file("file"))));
}

TEST_F(CodeSignerTest, KeepsOwnerAndPermissions)
{
    ASSERT_EQ(::chmod(folder_.file("file").c_str(), 04751), 0);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(folder_.file("file").c_str(), 12, 34), 0);
        ASSERT_EQ(::chmod(folder_.file("file").c_str(), 04751), 0);
    }
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(::stat(folder_.file("file").c_str(), &before), 0);

    EXPECT_EQ(failureToSign(folder_.file("file")), "");

    ASSERT_EQ(::stat(folder_.file("file").c_str(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
}

TEST_F(CodeSignerTest, SignsWhatASymbolicLinkLeadsTo)
{
    fs::create_symlink("file", folder_.file("link"));

    EXPECT_EQ(failureToSign(folder_.file("link")), "");

    EXPECT_TRUE(fs::is_symlink(folder_.file("link")));
    EXPECT_EQ(statusOf(folder_.file("file")), errSecSuccess);
}

TEST_F(CodeSignerTest, SignsAProgramThatRuns)
{
    const std::string path = folder_.addProgram("program", nullptr);
    const SleepingProcess process{"sleep", path};

    EXPECT_EQ(failureToSign(path), "");
    EXPECT_EQ(statusOf(path), errSecSuccess);
}

TEST_F(CodeSignerTest, LeavesNothingBesideWhatItSigned)
{
    EXPECT_EQ(failureToSign(folder_.file("file")), "");

    EXPECT_EQ(std::distance(fs::directory_iterator{folder_.path()}, {}), 1);
}

TEST_F(CodeSignerTest, FailsWhereThereIsNoFile)
{
    EXPECT_EQ(failureToSign(folder_.file("missing")),
              "sign " + folder_.file("missing") + ": No such file or directory");
}

TEST_F(CodeSignerTest, FailsAtAFolder)
{
    EXPECT_EQ(failureToSign(folder_.path()),
              "sign " + folder_.path() + ": The executable cannot be read");
}

TEST_F(CodeSignerTest, FailsAtAFileWhoseSignatureHasNoBeginning)
{
    const std::string bytes = withSignature("", "DER").substr(1);
    folder_.write("file", bytes);

    EXPECT_EQ(failureToSign(folder_.file("file")),
              "sign " + folder_.file("file") + ": The signature is malformed");
    EXPECT_EQ(bytesOf(folder_.file("file")), bytes);
}

TEST_F(CodeSignerTest, LeavesTheFileAsItIsWhenTheFolderIsClosedToTheUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: nobody else can become another user";
    const auto signer = open();
    fs::permissions(folder_.path(), fs::perms::owner_all | fs::perms::others_exec);
    fs::permissions(folder_.file("file"), fs::perms::all);

    const int status = runInChild([&] {
        constexpr uid_t nobody = 65534;
        if (::setuid(nobody) != 0)
            return 1;
        const auto result = signer.value().sign(folder_.file("file"));
        return !result && result.error().code() == std::errc::permission_denied ? 0 : 2;
    });

    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytesOf(folder_.file("file")), "content");
}

TEST_F(CodeSignerTest, LeavesNothingBehindWhenTheDiskIsFull)
{
    const int status = runInChild([&] {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 100, .rlim_max = 100};
        const auto signer = open();
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const auto result = signer.value().sign(folder_.file("file"));
        return !result && result.error().code() == std::errc::file_too_large ? 0 : 2;
    });

    EXPECT_EQ(status, 0);
    EXPECT_EQ(bytesOf(folder_.file("file")), "content");
    EXPECT_EQ(std::distance(fs::directory_iterator{folder_.path()}, {}), 1);
}

TEST_F(CodeSignerTest, IsNotMadeWithoutAKey)
{
    fs::remove(pems_.file("key.pem"));

    EXPECT_EQ(failure(), text("read", "key.pem", "No such file or directory"));
}

TEST_F(CodeSignerTest, IsNotMadeWithoutCertificates)
{
    fs::remove(pems_.file("chain.pem"));

    EXPECT_EQ(failure(), text("read", "chain.pem", "No such file or directory"));
}

TEST_F(CodeSignerTest, IsNotMadeOfAFileThatHoldsNoKey)
{
    pems_.write("key.pem", "no key");

    EXPECT_EQ(failure(), text("read a private key from", "key.pem", malformed));
}

TEST_F(CodeSignerTest, IsNotMadeOfAKeyThatAsksForAPassPhrase)
{
    const BioPointer pem{BIO_new_file(pems_.file("key.pem").c_str(), "w")};
    ASSERT_EQ(PEM_write_bio_PKCS8PrivateKey(pem.get(), chain_.signer.key.get(), EVP_aes_128_cbc(),
                                            "secret", 6, nullptr, nullptr),
              1);
    BIO_flush(pem.get());

    EXPECT_EQ(failure(), text("read a private key from", "key.pem", malformed));
}

TEST_F(CodeSignerTest, IsNotMadeOfAFileThatHoldsNoCertificate)
{
    pems_.write("chain.pem", "no certificate");

    EXPECT_EQ(failure(), text("read certificates from", "chain.pem", malformed));
}

TEST_F(CodeSignerTest, IsNotMadeOfCertificatesOneOfWhichIsBroken)
{
    pems_.append("chain.pem", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");

    EXPECT_EQ(failure(), text("read certificates from", "chain.pem", malformed));
}

TEST_F(CodeSignerTest, IsNotMadeOfSomebodyElsesKey)
{
    pems_.write("key.pem", pemOf(chain_.issuer.key.get()));

    EXPECT_EQ(failure(), text(("find the owner of " + pems_.file("key.pem") + " first in").c_str(),
                              "chain.pem", malformed));
}

TEST_F(CodeSignerTest, IsNotMadeOfAChainWhereTheSignerDoesNotComeFirst)
{
    writeChain({&chain_.anchor, &chain_.issuer, &chain_.signer});

    EXPECT_EQ(failure(), text(("find the owner of " + pems_.file("key.pem") + " first in").c_str(),
                              "chain.pem", malformed));
}

TEST_F(CodeSignerTest, IsNotMadeOfAChainThatIsTooShort)
{
    writeChain({&chain_.signer, &chain_.issuer});

    EXPECT_EQ(failure(),
              text("sign with", "chain.pem", codeSigningText(errSecCSCertificatesInvalid).value()));
}

TEST_F(CodeSignerTest, IsNotMadeOfACertificateThatIsNotMeantForCode)
{
    const Identity server =
        makeIdentity("Server", &chain_.issuer, {.extendedKeyUsage = "serverAuth"});
    writeChain({&server, &chain_.issuer, &chain_.anchor});
    pems_.write("key.pem", pemOf(server.key.get()));

    EXPECT_EQ(failure(),
              text("sign with", "chain.pem", codeSigningText(errSecCSCertificatesUnfit).value()));
}

TEST_F(CodeSignerTest, SignsWithAnRsaKey)
{
    const Identity signer =
        makeIdentity("Signer", &chain_.issuer, {}, KeyPointer{EVP_RSA_gen(2048)});
    writeChain({&signer, &chain_.issuer, &chain_.anchor});
    pems_.write("key.pem", pemOf(signer.key.get()));

    EXPECT_EQ(failureToSign(folder_.file("file")), "");
    EXPECT_EQ(statusOf(folder_.file("file")), errSecSuccess);
}

TEST_F(CodeSignerTest, DoesNotSignWithAKeyThatNobodyWouldAccept)
{
    EVP_PKEY* restricted = nullptr;
    const KeyContextPointer context{EVP_PKEY_CTX_new_from_name(nullptr, "RSA-PSS", nullptr)};
    ASSERT_EQ(EVP_PKEY_keygen_init(context.get()), 1);
    ASSERT_EQ(EVP_PKEY_generate(context.get(), &restricted), 1);

    expectNotToSignWith(KeyPointer{restricted});
}

TEST_F(CodeSignerTest, DoesNotSignWithAKeyThatKnowsNoSha256)
{
    expectNotToSignWith(KeyPointer{EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519")});
}

TEST_F(CodeSignerTest, LeavesNoFailureBehindForTheNextCallerOfOpenSsl)
{
    ERR_clear_error();

    EXPECT_EQ(failureToSign(folder_.file("file")), "");
    EXPECT_EQ(ERR_peek_error(), 0UL);
}

} // namespace
} // namespace veltra
