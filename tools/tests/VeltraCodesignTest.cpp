// Runs the built program veltra-codesign from end to end.

#include "platform/base/tests/FinishedProgram.h"
#include "platform/signing/tests/SigningFolder.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

const std::string unsignedText = ": The code is not signed at all\n";

/// A folder with a program and a certificate chain to sign it with.
class VeltraCodesign : public testing::Test {
  protected:
    VeltraCodesign() { sharedChain().write(folder_); }

    static FinishedProgram run(Arguments arguments)
    {
        arguments.insert(arguments.begin(), VELTRA_CODESIGN);
        return finishedProgram(arguments);
    }

    [[nodiscard]] FinishedProgram sign(const Arguments& files) const
    {
        Arguments arguments{"sign", "--key", folder_.file("key.pem"), "--certs",
                            folder_.file("chain.pem")};
        arguments.insert(arguments.end(), files.begin(), files.end());
        return run(arguments);
    }

    SigningFolder folder_;
    const std::string program_ = folder_.addProgram("program", nullptr);
};

void expectOneLine(const FinishedProgram& run, const std::string& line)
{
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "veltra-codesign: " + line);
}

TEST_F(VeltraCodesign, SignsAFileSoThatItVerifies)
{
    const FinishedProgram signing = sign({program_});

    EXPECT_EQ(signing.status, 0) << signing.error;
    EXPECT_EQ(run({"verify", program_}).output, program_ + ": valid\n");
    EXPECT_EQ(run({"verify", program_}).status, 0);
}

TEST_F(VeltraCodesign, SignsSeveralFiles)
{
    const std::string other = folder_.addProgram("other", nullptr);

    EXPECT_EQ(sign({program_, other}).status, 0);
    EXPECT_EQ(run({"verify", program_, other}).output,
              program_ + ": valid\n" + other + ": valid\n");
}

TEST_F(VeltraCodesign, SignsAProgramThatStillRuns)
{
    const std::string copy = folder_.addProgram("copy", nullptr, VELTRA_CODESIGN);
    EXPECT_EQ(sign({copy}).status, 0);

    EXPECT_EQ(finishedProgram({copy, "verify", copy}).output, copy + ": valid\n");
}

TEST_F(VeltraCodesign, ReplacesTheSignatureWhenItSignsTwice)
{
    const auto unsignedSize = fs::file_size(program_);
    EXPECT_EQ(sign({program_}).status, 0);

    EXPECT_EQ(sign({program_}).status, 0);

    EXPECT_TRUE(run({"show", program_})
                    .output.starts_with("signed bytes: " + std::to_string(unsignedSize) + "\n"));
    EXPECT_EQ(run({"verify", program_}).status, 0);
}

TEST_F(VeltraCodesign, ReplacesTheSignatureOfAnotherChain)
{
    const SigningChain stranger;
    signFile(program_, stranger);

    EXPECT_EQ(sign({program_}).status, 0);

    EXPECT_EQ(certificatesIn(program_), sharedChain().certificates());
}

TEST_F(VeltraCodesign, ShowsTheSignerAndItsIssuersWithTheirFingerprints)
{
    const auto certificates = sharedChain().certificates();
    const auto size = std::to_string(fs::file_size(program_));
    EXPECT_EQ(sign({program_}).status, 0);

    EXPECT_EQ(run({"show", program_}).output, "signed bytes: " + size +
                                                  "\n"
                                                  "signer: CN=Signer\n  sha256: " +
                                                  certificates[0].sha256Fingerprint() +
                                                  "\n"
                                                  "issuer: CN=Issuer\n  sha256: " +
                                                  certificates[1].sha256Fingerprint() +
                                                  "\n"
                                                  "issuer: CN=Anchor\n  sha256: " +
                                                  certificates[2].sha256Fingerprint() + "\n");
}

TEST_F(VeltraCodesign, VerifiesAndShowsABundleByItsFolder)
{
    const BundleFolder bundle;

    EXPECT_EQ(run({"verify", bundle.bundle()}).status, 0);
    EXPECT_NE(run({"show", bundle.bundle()}).output.find("signer: CN=Signer"), std::string::npos);
}

TEST_F(VeltraCodesign, DoesNotVerifyABundleWithChangedNestedCode)
{
    const BundleFolder bundle;
    changeOneByte(bundle.helper());

    expectOneLine(run({"verify", bundle.main()}),
                  bundle.main() + ": Code nested in the bundle has no valid signature\n");
}

TEST_F(VeltraCodesign, DoesNotVerifyAnUnsignedFile)
{
    expectOneLine(run({"verify", program_}), program_ + unsignedText);
}

TEST_F(VeltraCodesign, DoesNotVerifyAFileChangedByOneByte)
{
    EXPECT_EQ(sign({program_}).status, 0);
    changeOneByte(program_);

    expectOneLine(run({"verify", program_}), program_ + ": The signature does not fit the code\n");
}

TEST_F(VeltraCodesign, DoesNotVerifyAFileThatIsNotThere)
{
    const std::string missing = folder_.file("missing");

    expectOneLine(run({"verify", missing}),
                  missing + ": There is neither an executable nor a bundle at this path\n");
}

TEST_F(VeltraCodesign, VerifiesTheOtherFilesBesideOneThatFails)
{
    const std::string other = folder_.addProgram("other", &sharedChain());

    const FinishedProgram result = run({"verify", program_, other});

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, other + ": valid\n");
    EXPECT_EQ(result.error, "veltra-codesign: " + program_ + unsignedText);
}

TEST_F(VeltraCodesign, ShowsNothingOfAFileThatIsNotSigned)
{
    expectOneLine(run({"show", program_}), program_ + unsignedText);
}

TEST_F(VeltraCodesign, ShowsNobodyWhoHasNotSignedThis)
{
    EXPECT_EQ(sign({program_}).status, 0);
    changeOneByte(program_);

    expectOneLine(run({"show", program_}), program_ + ": The signature does not fit the code\n");
}

TEST_F(VeltraCodesign, CannotSignAFileThatIsNotThere)
{
    const std::string missing = folder_.file("missing");

    expectOneLine(sign({missing}), "cannot sign " + missing + ": No such file or directory\n");
}

TEST_F(VeltraCodesign, CannotSignWithoutAKey)
{
    fs::remove(folder_.file("key.pem"));

    expectOneLine(sign({program_}),
                  "cannot read " + folder_.file("key.pem") + ": No such file or directory\n");
}

TEST_F(VeltraCodesign, CannotSignWithSomebodyElsesKey)
{
    const SigningChain stranger;
    folder_.write("key.pem", pemOf(stranger.signer.key.get()));

    expectOneLine(sign({program_}), "cannot find the owner of " + folder_.file("key.pem") +
                                        " first in " + folder_.file("chain.pem") +
                                        ": Bad message\n");
}

TEST_F(VeltraCodesign, CannotSignWithAChainThatIsTooShort)
{
    folder_.write("chain.pem", pemOf(sharedChain().signer.certificate.get()));

    expectOneLine(sign({program_}), "cannot sign with " + folder_.file("chain.pem") +
                                        ": The certificates of the signature are not one chain "
                                        "from the signer to its anchor\n");
}

TEST_F(VeltraCodesign, FailsWhenItsOutputCannotBeWritten)
{
    signFile(program_);

    const int status = runProgram({VELTRA_CODESIGN, "verify", program_},
                                  {"/dev/null", "/dev/full", folder_.file("error")});

    EXPECT_EQ(status, 1);
    EXPECT_EQ(bytesOf(folder_.file("error")),
              "veltra-codesign: cannot write: No space left on device\n");
}

TEST_F(VeltraCodesign, TellsItsUsageWhenItDoesNotUnderstand)
{
    for (const Arguments& arguments : std::vector<Arguments>{
             {},
             {"help"},
             {"verify"},
             {"verify", ""},
             {"verify", "--all"},
             {"show"},
             {"show", program_, program_},
             {"sign", program_},
             {"sign", "--key", "k", "--certs", "c"},
             {"sign", "--certs", "c", "--key", "k", program_},
         }) {
        const FinishedProgram result = run(arguments);

        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(result.error.starts_with("usage: veltra-codesign sign"));
    }
}

} // namespace
} // namespace veltra
