#include "platform/signing/LinuxCodeSigning.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/SleepingProcess.h"
#include "platform/signing/fakes/FakeCodeSigning.h"
#include "platform/signing/tests/SigningFolder.h"

#include <algorithm>
#include <any>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

constexpr SecCSFlags asTheCheckAsks = kSecCSDoNotValidateResources | kSecCSCheckNestedCode;

std::ptrdiff_t openDescriptors()
{
    return std::distance(fs::directory_iterator{"/proc/self/fd"}, {});
}

class LinuxCodeSigningTest : public testing::Test {
  protected:
    static SecOutcome<SecCodeRef> guest(std::int32_t pid,
                                        const CodeSigningServices& services = LinuxCodeSigning{})
    {
        return services.SecCodeCopyGuestWithAttributes(nullptr, {{kSecGuestAttributePid, pid}}, 0);
    }

    /// The first failure on the way to a valid program.
    static OSStatus validityOf(std::int32_t pid,
                               const CodeSigningServices& services = LinuxCodeSigning{})
    {
        const auto code = guest(pid, services);
        if (!code.object)
            return code.status;
        const auto onDisk = services.SecCodeCopyStaticCode(*code.object, 0);
        return services.SecStaticCodeCheckValidity(*onDisk.object, asTheCheckAsks);
    }

    static OSStatus validityAt(const std::string& path, SecCSFlags flags = asTheCheckAsks)
    {
        const LinuxCodeSigning services;
        const auto code = services.SecStaticCodeCreateWithPath(path, 0);
        return code.object ? services.SecStaticCodeCheckValidity(*code.object, flags) : code.status;
    }

    static std::vector<SecCertificate> certificatesOf(const SecStaticCode& code)
    {
        const auto answer =
            LinuxCodeSigning{}.SecCodeCopySigningInformation(code, kSecCSSigningInformation);
        EXPECT_EQ(answer.status, errSecSuccess);
        return std::any_cast<std::vector<SecCertificate>>(
            std::any_cast<const SecDictionary&>(answer.object).at(kSecCodeInfoCertificates));
    }

    SigningFolder folder_;
};

TEST_F(LinuxCodeSigningTest, FindsItsOwnProgramUnsignedWhenNobodySignedIt)
{
    const LinuxCodeSigning services;
    const auto self = services.SecCodeCopySelf(0);
    ASSERT_TRUE(self.object);

    const auto code = services.SecCodeCopyStaticCode(*self.object, 0);

    ASSERT_TRUE(code.object);
    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, asTheCheckAsks), errSecCSUnsigned);
}

TEST_F(LinuxCodeSigningTest, FindsAProgramThatWasChangedByOneByteInvalid)
{
    const std::string path = folder_.addProgram("program", &sharedChain());
    std::string bytes = bytesOf(path);
    // A byte of the string table, which the program does not need to run.
    const auto harmless = bytes.rfind(".shstrtab");
    ASSERT_NE(harmless, std::string::npos);
    bytes[harmless + 1] = 'S';
    folder_.write("program", bytes);
    const SleepingProcess process{"sleep", path};

    EXPECT_EQ(validityOf(process.pid()), errSecCSSignatureFailed);
}

TEST_F(LinuxCodeSigningTest, KnowsNoCodeOfAProcessThatWasReaped)
{
    SleepingProcess process{"sleep", folder_.addProgram("program", &sharedChain())};
    process.killAndReap();

    EXPECT_EQ(guest(process.pid()).status, errSecCSNoSuchCode);
}

TEST_F(LinuxCodeSigningTest, KnowsNoCodeOfAProcessThatDiedAndWasNotReapedYet)
{
    const SleepingProcess process{"sleep", folder_.addProgram("program", &sharedChain())};
    process.kill();
    siginfo_t exit{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process.pid()), &exit, WEXITED | WNOWAIT), 0);

    EXPECT_EQ(guest(process.pid()).status, errSecCSNoSuchCode);
}

TEST_F(LinuxCodeSigningTest, SaysThatTheFileOfARunningProgramWasDeleted)
{
    const SleepingProcess process{"sleep", folder_.addProgram("program", &sharedChain())};
    fs::remove(folder_.file("program"));

    EXPECT_EQ(guest(process.pid()).status, errSecCSCodeDeleted);
}

TEST_F(LinuxCodeSigningTest, SaysThatTheFileOfARunningProgramWasReplaced)
{
    const SleepingProcess process{"sleep", folder_.addProgram("program", &sharedChain())};
    fs::rename(folder_.addProgram("newer", &sharedChain()), folder_.file("program"));

    EXPECT_EQ(guest(process.pid()).status, errSecCSCodeDeleted);
}

TEST_F(LinuxCodeSigningTest, LooksAtTheFileThatRunsAndNotAtTheOneThatTookItsPath)
{
    const SleepingProcess process{"sleep", folder_.addProgram("program", nullptr)};
    fs::rename(folder_.file("program"), folder_.file("moved"));
    fs::rename(folder_.addProgram("trusted", &sharedChain()), folder_.file("program"));

    EXPECT_EQ(validityOf(process.pid()), errSecCSUnsigned);
}

TEST_F(LinuxCodeSigningTest, LooksAtAFileThatIsReplacedAfterItWasOpened)
{
    const LinuxCodeSigning services;
    const std::string path = folder_.addProgram("program", &sharedChain());
    const auto code = services.SecStaticCodeCreateWithPath(path, 0);
    ASSERT_TRUE(code.object);

    fs::rename(folder_.addProgram("unsigned", nullptr), path);

    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, 0), errSecSuccess);
    EXPECT_EQ(certificatesOf(*code.object), sharedChain().certificates());
}

TEST_F(LinuxCodeSigningTest, NamesTheCertificatesItCheckedAlsoWhenTheFileChangesInBetween)
{
    const LinuxCodeSigning services;
    const SigningChain stranger;
    const std::string path = folder_.addProgram("program", &sharedChain());
    const auto code = services.SecStaticCodeCreateWithPath(path, 0);
    ASSERT_TRUE(code.object);

    folder_.write("program", bytesOf(folder_.addProgram("other", &stranger)));

    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, 0), errSecSuccess);
    EXPECT_EQ(certificatesOf(*code.object), sharedChain().certificates());
}

TEST_F(LinuxCodeSigningTest, DoesNotFitWhenTheFileIsCutShortAfterItWasOpened)
{
    const LinuxCodeSigning services;
    const std::string path = folder_.addProgram("program", &sharedChain());
    const auto code = services.SecStaticCodeCreateWithPath(path, 0);
    ASSERT_TRUE(code.object);

    fs::resize_file(path, 100);

    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, 0), errSecCSSignatureFailed);
}

TEST_F(LinuxCodeSigningTest, CannotReadTheProgramOfAnotherUsersProcess)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: nobody else can become another user";
    const SleepingProcess process;
    constexpr uid_t nobody = 65534;

    const int status = runInChild([&process] {
        if (::setuid(nobody) != 0)
            return 1;
        return guest(process.pid()).status == errSecCSCodeUnreadable ? 0 : 2;
    });

    EXPECT_EQ(status, 0);
}

TEST_F(LinuxCodeSigningTest, CannotReadAFileThatIsClosedToTheUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: nobody else can become another user";
    const std::string path = folder_.addProgram("program", &sharedChain());
    fs::permissions(folder_.path(), fs::perms::all);
    fs::permissions(path, fs::perms::owner_all);
    constexpr uid_t nobody = 65534;

    const int status = runInChild([&path] {
        if (::setuid(nobody) != 0)
            return 1;
        return validityAt(path) == errSecCSCodeUnreadable ? 0 : 2;
    });

    EXPECT_EQ(status, 0);
}

TEST_F(LinuxCodeSigningTest, ReadsAPinnedProgramFromItsDescriptor)
{
    const Fd executable{
        ::open(folder_.addProgram("program", &sharedChain()).c_str(), O_RDONLY | O_CLOEXEC)};
    // A process that runs something else, so that only the descriptor can have been read.
    const LinuxCodeSigning services{{.pid = ::getpid(), .executable = executable}};

    EXPECT_EQ(validityOf(::getpid(), services), errSecSuccess);
}

TEST_F(LinuxCodeSigningTest, KnowsNoProcessButThePinnedOne)
{
    const SleepingProcess other;
    const Fd executable{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};
    const LinuxCodeSigning services{{.pid = ::getpid(), .executable = executable}};

    EXPECT_EQ(guest(other.pid(), services).status, errSecCSNoSuchCode);
}

TEST_F(LinuxCodeSigningTest, SaysThatThePinnedProgramWasDeleted)
{
    const Fd executable{
        ::open(folder_.addProgram("program", &sharedChain()).c_str(), O_RDONLY | O_CLOEXEC)};
    const LinuxCodeSigning services{{.pid = ::getpid(), .executable = executable}};
    fs::remove(folder_.file("program"));

    EXPECT_EQ(guest(::getpid(), services).status, errSecCSCodeDeleted);
}

TEST_F(LinuxCodeSigningTest, LeavesThePinnedDescriptorOpen)
{
    const Fd executable{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};

    EXPECT_EQ(
        validityOf(::getpid(), LinuxCodeSigning{{.pid = ::getpid(), .executable = executable}}),
        errSecCSUnsigned);
    EXPECT_NE(::fcntl(executable.get(), F_GETFD), -1);
}

TEST_F(LinuxCodeSigningTest, FindsAFileThroughASymbolicLink)
{
    fs::create_symlink(folder_.addProgram("program", &sharedChain()), folder_.file("link"));

    EXPECT_EQ(validityAt(folder_.file("link")), errSecSuccess);
}

TEST_F(LinuxCodeSigningTest, FindsNoCodeInAnOrdinaryFolder)
{
    EXPECT_EQ(validityAt(folder_.path()), errSecCSNoStaticCode);
    EXPECT_EQ(validityAt(folder_.path() + "/nothing/at/all"), errSecCSNoStaticCode);
}

TEST_F(LinuxCodeSigningTest, DoesNotWaitForTheWriterOfANamedPipe)
{
    ASSERT_EQ(::mkfifo(folder_.file("pipe").c_str(), 0600), 0);

    EXPECT_EQ(validityAt(folder_.file("pipe")), errSecCSNoStaticCode);
}

TEST_F(LinuxCodeSigningTest, DoesNotUnderstandAPathWithANullInIt)
{
    const std::string path = folder_.addProgram("program", &sharedChain());

    EXPECT_EQ(validityAt(path + '\0' + "x"), errSecCSInvalidRequest);
}

TEST_F(LinuxCodeSigningTest, DoesNotLookAtAFileThatIsTooLarge)
{
    folder_.write("file", "");
    fs::resize_file(folder_.file("file"), (std::uintmax_t{256} << 20) + 1);

    EXPECT_EQ(validityAt(folder_.file("file")), errSecCSCodeTooLarge);
}

TEST_F(LinuxCodeSigningTest, HasNoInformationAboutWhatIsNotSigned)
{
    const LinuxCodeSigning services;
    const auto code =
        services.SecStaticCodeCreateWithPath(folder_.addProgram("program", nullptr), 0);
    ASSERT_TRUE(code.object);

    const auto information =
        services.SecCodeCopySigningInformation(*code.object, kSecCSSigningInformation);

    EXPECT_EQ(information.status, errSecCSUnsigned);
    EXPECT_FALSE(information.object.has_value());
}

TEST_F(LinuxCodeSigningTest, NamesNoCertificatesUnlessAskedForThem)
{
    const LinuxCodeSigning services;
    const auto code =
        services.SecStaticCodeCreateWithPath(folder_.addProgram("program", &sharedChain()), 0);
    ASSERT_TRUE(code.object);

    const auto information = services.SecCodeCopySigningInformation(*code.object, 0);

    EXPECT_TRUE(std::any_cast<const SecDictionary&>(information.object).empty());
}

TEST_F(LinuxCodeSigningTest, DoesNotUnderstandFlagsThatThereAreNot)
{
    const LinuxCodeSigning services;
    const auto self = services.SecCodeCopySelf(0);
    const auto code = services.SecCodeCopyStaticCode(*self.object, 0);

    EXPECT_EQ(services.SecCodeCopySelf(1).status, errSecCSInvalidRequest);
    EXPECT_EQ(
        services.SecCodeCopyGuestWithAttributes(nullptr, {{kSecGuestAttributePid, ::getpid()}}, 1)
            .status,
        errSecCSInvalidRequest);
    EXPECT_EQ(services.SecCodeCopyStaticCode(*self.object, 1).status, errSecCSInvalidRequest);
    EXPECT_EQ(services.SecStaticCodeCreateWithPath("/", 1).status, errSecCSInvalidRequest);
    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, 1), errSecCSInvalidRequest);
    EXPECT_EQ(services.SecCodeCopySigningInformation(*code.object, 1).status,
              errSecCSInvalidRequest);
}

TEST_F(LinuxCodeSigningTest, DoesNotUnderstandCodeOfOtherServices)
{
    const LinuxCodeSigning services;
    const FakeCodeSigning others;
    const auto self = others.SecCodeCopySelf(0);
    const auto code = others.SecCodeCopyStaticCode(*self.object, 0);

    EXPECT_EQ(services.SecCodeCopyStaticCode(*self.object, 0).status, errSecCSInvalidRequest);
    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, 0), errSecCSInvalidRequest);
    EXPECT_EQ(services.SecCodeCopySigningInformation(*code.object, 0).status,
              errSecCSInvalidRequest);
}

TEST_F(LinuxCodeSigningTest, ClosesAllThatItOpened)
{
    const BundleFolder bundle;
    const SleepingProcess process{"sleep", bundle.main()};
    const auto before = openDescriptors();

    EXPECT_EQ(validityOf(process.pid()), errSecSuccess);
    EXPECT_EQ(validityAt(bundle.bundle()), errSecSuccess);
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace veltra
