#include "platform/signing/NestedCode.h"

#include "platform/base/tests/SleepingProcess.h"
#include "platform/signing/AppendedSignature.h"
#include "platform/signing/LinuxCodeSigning.h"
#include "platform/signing/tests/SigningFolder.h"

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

class NestedCodeTest : public testing::Test {
  protected:
    static OSStatus validityAt(const std::string& path, SecCSFlags flags = kSecCSCheckNestedCode)
    {
        const LinuxCodeSigning services;
        const auto code = services.SecStaticCodeCreateWithPath(path, 0);
        return code.object ? services.SecStaticCodeCheckValidity(*code.object, flags) : code.status;
    }

    static OSStatus validityOf(std::int32_t pid)
    {
        const LinuxCodeSigning services;
        const auto code =
            services.SecCodeCopyGuestWithAttributes(nullptr, {{kSecGuestAttributePid, pid}}, 0);
        if (!code.object)
            return code.status;
        const auto onDisk = services.SecCodeCopyStaticCode(*code.object, 0);
        return services.SecStaticCodeCheckValidity(*onDisk.object, kSecCSCheckNestedCode);
    }

    [[nodiscard]] OSStatus validity() const { return validityAt(folder_.main()); }

    [[nodiscard]] std::string inBundle(const std::string& name) const
    {
        return folder_.file("Test.app/Contents/" + name);
    }

    BundleFolder folder_;
};

TEST_F(NestedCodeTest, MakesNoDifferenceWhenAllOfItIsSigned)
{
    EXPECT_EQ(validityAt(folder_.main()), errSecSuccess);
    EXPECT_EQ(validityAt(folder_.helper()), errSecSuccess);
    EXPECT_EQ(validityAt(folder_.bundle()), errSecSuccess);
}

TEST_F(NestedCodeTest, IsInvalidWhenAnExecutableOfTheBundleWasChanged)
{
    changeOneByte(folder_.helper());

    EXPECT_EQ(validityAt(folder_.main()), errSecCSNestedCodeInvalid);
    EXPECT_EQ(validityAt(folder_.bundle()), errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, IsInvalidForARunningProgramToo)
{
    const SleepingProcess process{"sleep", folder_.main()};
    EXPECT_EQ(validityOf(process.pid()), errSecSuccess);

    changeOneByte(folder_.helper());

    EXPECT_EQ(validityOf(process.pid()), errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, IsTheMainExecutableForTheHelper)
{
    changeOneByte(folder_.main());

    EXPECT_EQ(validityAt(folder_.helper()), errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, IsInvalidWhenItIsNotSigned)
{
    static_cast<void>(folder_.addProgram("Test.app/Contents/Linux/Stray", nullptr));

    EXPECT_EQ(validity(), errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, MayBeSignedByAnybody)
{
    const SigningChain stranger;
    static_cast<void>(folder_.addProgram("Test.app/Contents/Linux/Strange", &stranger));

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsLookedAtOnlyWhenAskedFor)
{
    changeOneByte(folder_.helper());

    EXPECT_EQ(validityAt(folder_.main(), 0), errSecSuccess);
}

TEST_F(NestedCodeTest, IsLookedAtAfterTheExecutableItself)
{
    changeOneByte(folder_.main());
    changeOneByte(folder_.helper());

    EXPECT_EQ(validity(), errSecCSSignatureFailed);
}

TEST_F(NestedCodeTest, IsNoResource)
{
    folder_.write("Test.app/Contents/Resources/Text", "another text");
    folder_.write("Test.app/Contents/Resources/Added", "more");
    fs::copy_file("/bin/sleep", inBundle("Resources/Program"));

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsNoFileThatNobodyCanExecute)
{
    fs::copy_file("/bin/sleep", inBundle("Linux/Data"));
    fs::permissions(inBundle("Linux/Data"), fs::perms::owner_read);

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsWhateverBeginsLikeAnElfFile)
{
    for (const char* const bytes : {"\x7F"
                                    "ELF",
                                    "\x7F"
                                    "ELF and then nothing that is one"}) {
        folder_.write("Test.app/Contents/Linux/Broken", bytes);
        fs::permissions(inBundle("Linux/Broken"), fs::perms::owner_all);

        EXPECT_EQ(validity(), errSecCSNestedCodeInvalid);
    }
}

TEST_F(NestedCodeTest, IsNoFileThatIsTooShortForAnElfFile)
{
    folder_.write("Test.app/Contents/Linux/Broken", "\x7F"
                                                    "EL");
    fs::permissions(inBundle("Linux/Broken"), fs::perms::owner_all);

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsNoScript)
{
    folder_.write("Test.app/Contents/Linux/script", "#!/bin/sh\n");
    fs::permissions(inBundle("Linux/script"), fs::perms::owner_all);

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsNothingThatASymbolicLinkLeadsTo)
{
    fs::create_symlink("/bin/sleep", inBundle("Linux/link"));

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsNotThereWithoutABundle)
{
    const std::string alone = folder_.addProgram("Contents/Linux/Alone", &sharedChain());
    static_cast<void>(folder_.addProgram("Contents/Linux/Stray", nullptr));

    EXPECT_EQ(validityAt(alone), errSecSuccess);
}

TEST_F(NestedCodeTest, NeedNotBeThere)
{
    fs::remove_all(inBundle("Library"));

    EXPECT_EQ(validity(), errSecSuccess);
}

TEST_F(NestedCodeTest, IsInvalidWhenThereIsMoreOfItThanIsLookedAt)
{
    // With the program and the helper there are then 64 files.
    for (int i = 2; i < 64; ++i)
        folder_.write("Test.app/Contents/Linux/" + std::to_string(i), "");
    EXPECT_EQ(validity(), errSecSuccess);

    folder_.write("Test.app/Contents/Linux/64", "");

    EXPECT_EQ(validity(), errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, IsInvalidWhenThereAreMoreBytesOfItThanAreRead)
{
    fs::remove(folder_.helper());
    const Fd main{::open(folder_.main().c_str(), O_RDONLY | O_CLOEXEC)};
    for (const char* const name : {"Linux/One", "Linux/Other"}) {
        folder_.write(std::string{"Test.app/Contents/"} + name, "\x7F"
                                                                "ELF");
        fs::permissions(inBundle(name), fs::perms::owner_all);
        fs::resize_file(inBundle(name), AppendedSignature::largestFile / 2);
    }
    EXPECT_EQ(openNestedCode(main.get()).status, errSecSuccess);

    fs::resize_file(inBundle("Linux/Other"), AppendedSignature::largestFile / 2 + 1);

    EXPECT_EQ(openNestedCode(main.get()).status, errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, IsInvalidWhenItsFolderIsNone)
{
    fs::remove_all(inBundle("Library/LaunchServices"));
    folder_.write("Test.app/Contents/Library/LaunchServices", "");

    EXPECT_EQ(validity(), errSecCSNestedCodeInvalid);
}

TEST_F(NestedCodeTest, CannotBeFoundWhenTheExecutableLeftTheBundle)
{
    const LinuxCodeSigning services;
    const auto code = services.SecStaticCodeCreateWithPath(folder_.main(), 0);
    ASSERT_TRUE(code.object);

    fs::remove(folder_.main());

    EXPECT_EQ(services.SecStaticCodeCheckValidity(*code.object, kSecCSCheckNestedCode),
              errSecCSCodeDeleted);
}

TEST_F(NestedCodeTest, HangsOnTheMainExecutableThatTheBundleNames)
{
    folder_.nameExecutable("Other");
    static_cast<void>(folder_.addProgram("Test.app/Contents/Linux/Other", nullptr));

    EXPECT_EQ(validityAt(folder_.bundle()), errSecCSUnsigned);
}

TEST_F(NestedCodeTest, HasNoMainExecutableInABundleThatNamesNoneOfItsOwn)
{
    for (const char* const name : {"", ".", "..", "Missing", "../Linux/Main", "/bin/sleep"}) {
        folder_.nameExecutable(name);

        EXPECT_EQ(validityAt(folder_.bundle()), errSecCSBundleMalformed) << name;
    }
}

TEST_F(NestedCodeTest, HasNoMainExecutableThatIsASymbolicLink)
{
    fs::create_symlink(folder_.main(), inBundle("Linux/Link"));
    folder_.nameExecutable("Link");

    EXPECT_EQ(validityAt(folder_.bundle()), errSecCSBundleMalformed);
}

TEST_F(NestedCodeTest, HasNoMainExecutableWithoutAPropertyListThatCanBeRead)
{
    folder_.write("Test.app/Contents/Info.plist", "<plist><dict><key>");
    EXPECT_EQ(validityAt(folder_.bundle()), errSecCSBundleMalformed);

    fs::remove(inBundle("Info.plist"));
    EXPECT_EQ(validityAt(folder_.bundle()), errSecCSBundleMalformed);
}

} // namespace
} // namespace veltra
