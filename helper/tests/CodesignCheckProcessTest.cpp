// The check as the helper runs it: a signed program checks processes and files.

#include "platform/base/tests/FinishedProgram.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/signing/tests/SigningFolder.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

const std::string everyone = "CN=Signer\nCN=Issuer\nCN=Anchor\n";

class CodesignCheckProcess : public testing::Test {
  protected:
    [[nodiscard]] std::string ask(const std::string& question,
                                  const std::string& subject = "") const
    {
        return finishedProgram({helper_, question, subject}).output;
    }

    [[nodiscard]] std::string ask(const std::string& question, const SleepingProcess& client) const
    {
        return ask(question, std::to_string(client.pid()));
    }

    static std::string thrown(const std::string& text)
    {
        return "message(\"Optional(" + text + ")\")\n";
    }

    SigningFolder folder_;
    const std::string helper_ =
        folder_.addProgram("helper", &sharedChain(), VELTRA_TEST_CHECK_CLIENT);
};

TEST_F(CodesignCheckProcess, NamesItsOwnCertificatesInOrder)
{
    EXPECT_EQ(ask("self"), everyone);
}

TEST_F(CodesignCheckProcess, NamesItsOwnCertificatesAlsoWhenItsFileWasDeleted)
{
    EXPECT_EQ(ask("deleted-self", helper_), everyone);
    EXPECT_FALSE(fs::exists(helper_));
}

TEST_F(CodesignCheckProcess, NamesTheCertificatesOfAProcess)
{
    const SleepingProcess client{"sleep", folder_.addProgram("client", &sharedChain())};

    EXPECT_EQ(ask("pid", client), everyone);
}

TEST_F(CodesignCheckProcess, NamesTheCertificatesOfAFile)
{
    EXPECT_EQ(ask("path", folder_.addProgram("client", &sharedChain())), everyone);
}

TEST_F(CodesignCheckProcess, NamesTheCertificatesOfABundle)
{
    const BundleFolder bundle;

    EXPECT_EQ(ask("path", bundle.bundle()), everyone);
}

TEST_F(CodesignCheckProcess, ThrowsAtAFileThatIsNotThere)
{
    EXPECT_EQ(ask("path", folder_.file("nothing")),
              thrown("There is neither an executable nor a bundle at this path"));
}

TEST_F(CodesignCheckProcess, ThrowsAtAnUnsignedFile)
{
    EXPECT_EQ(ask("path", "/bin/sleep"), thrown("The code is not signed at all"));
}

TEST_F(CodesignCheckProcess, AcceptsACopyOfItself)
{
    const SleepingProcess client{"sleep", folder_.addProgram("client", &sharedChain())};
    fs::create_directory(folder_.file("elsewhere"));
    fs::copy_file(helper_, folder_.file("elsewhere/helper"));

    const auto run = finishedProgram(
        {folder_.file("elsewhere/helper"), "matches", std::to_string(client.pid())});

    EXPECT_EQ(run.output, "true\n");
}

TEST_F(CodesignCheckProcess, ThrowsAtAClientThatWasChangedByOneByte)
{
    const std::string path = folder_.addProgram("client", &sharedChain());
    std::string bytes = bytesOf(path);
    const auto harmless = bytes.rfind(".shstrtab");
    ASSERT_NE(harmless, std::string::npos);
    bytes[harmless + 1] = 'S';
    folder_.write("client", bytes);
    const SleepingProcess client{"sleep", path};

    EXPECT_EQ(ask("matches", client), thrown("The signature does not fit the code"));
}

TEST_F(CodesignCheckProcess, ThrowsAtAClientWhoseSignatureIsMalformed)
{
    const std::string path = folder_.addProgram("client", nullptr);
    folder_.append("client", withSignature("", "no DER"));
    const SleepingProcess client{"sleep", path};

    EXPECT_EQ(ask("matches", client), thrown("The signature is malformed"));
}

TEST_F(CodesignCheckProcess, ThrowsAtAClientInABundleWithChangedNestedCode)
{
    const BundleFolder bundle;
    const SleepingProcess client{"sleep", bundle.main()};
    ASSERT_EQ(ask("matches", client), "true\n");

    changeOneByte(bundle.helper());

    EXPECT_EQ(ask("matches", client), thrown("Code nested in the bundle has no valid signature"));
}

TEST_F(CodesignCheckProcess, AcceptsAClientInABundleWithChangedResources)
{
    const BundleFolder bundle;
    const SleepingProcess client{"sleep", bundle.main()};

    bundle.write("Test.app/Contents/Resources/Text", "another text");

    EXPECT_EQ(ask("matches", client), "true\n");
}

TEST_F(CodesignCheckProcess, ThrowsAtAClientWhoseFileWasDeleted)
{
    const SleepingProcess client{"sleep", folder_.addProgram("client", &sharedChain())};

    fs::remove(folder_.file("client"));

    EXPECT_EQ(ask("matches", client),
              thrown("The executable of the running program was deleted or replaced"));
}

TEST_F(CodesignCheckProcess, ThrowsAtAClientWhoseFileWasReplaced)
{
    const SleepingProcess client{"sleep", folder_.addProgram("client", &sharedChain())};

    fs::rename(folder_.addProgram("newer", &sharedChain()), folder_.file("client"));

    EXPECT_EQ(ask("matches", client),
              thrown("The executable of the running program was deleted or replaced"));
}

TEST_F(CodesignCheckProcess, ThrowsAtAClientThatHasEnded)
{
    SleepingProcess client{"sleep", folder_.addProgram("client", &sharedChain())};

    client.killAndReap();

    EXPECT_EQ(ask("matches", client), thrown("No program runs under this process identifier"));
}

TEST_F(CodesignCheckProcess, ThrowsWhenItWasChangedItselfWhateverTheClient)
{
    std::string bytes = bytesOf(helper_);
    const auto harmless = bytes.rfind(".shstrtab");
    ASSERT_NE(harmless, std::string::npos);
    bytes[harmless + 1] = 'S';
    std::ofstream{helper_, std::ios::binary} << bytes;
    const SleepingProcess client{"sleep", folder_.addProgram("client", &sharedChain())};

    EXPECT_EQ(ask("matches", client), thrown("The signature does not fit the code"));
}

TEST_F(CodesignCheckProcess, NeedsNoQt)
{
    const std::string bytes = bytesOf(VELTRA_TEST_CHECK_CLIENT);

    EXPECT_NE(bytes.find("libcrypto.so"), std::string::npos);
    EXPECT_EQ(bytes.find("libQt"), std::string::npos);
}

} // namespace
} // namespace veltra
