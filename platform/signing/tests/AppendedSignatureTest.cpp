#include "platform/signing/AppendedSignature.h"

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/signing/tests/SignedFile.h"

#include <cstddef>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

const std::string signedText = "what is signed";
const std::string ending = withSignature("", "DER");

SecOutcome<AppendedSignature> signatureIn(const std::string& bytes)
{
    const TemporaryFolder folder;
    folder.write("file", bytes);
    const Fd file{::open(folder.file("file").c_str(), O_RDONLY | O_CLOEXEC)};
    return AppendedSignature::read(file.get());
}

OSStatus statusWithLength(const std::string& length)
{
    return signatureIn(signedText + "DER" + length + ending.substr(ending.size() - 8)).status;
}

TEST(AppendedSignature, IsTheDerItsLengthWithTheLowestByteFirstAndEightBytesToKnowItBy)
{
    EXPECT_EQ(ending, std::string("DER\x03\0\0\0\0\0\0\0\xF7VxSign\n", 19));
}

TEST(AppendedSignature, IsReadAsItWasWritten)
{
    const auto signature = signatureIn(signedText + ending);

    ASSERT_EQ(signature.status, errSecSuccess);
    EXPECT_EQ(signature.object.signedSize, signedText.size());
    EXPECT_EQ(std::string(signature.object.der.begin(), signature.object.der.end()), "DER");
}

TEST(AppendedSignature, LeavesTheDescriptorsOffsetWhereItIs)
{
    const TemporaryFolder folder;
    folder.write("file", signedText + ending);
    const Fd file{::open(folder.file("file").c_str(), O_RDONLY | O_CLOEXEC)};
    ::lseek(file.get(), 5, SEEK_SET);

    const auto signature = AppendedSignature::read(file.get());

    EXPECT_EQ(signature.status, errSecSuccess);
    EXPECT_EQ(::lseek(file.get(), 0, SEEK_CUR), 5);
}

TEST(AppendedSignature, IsNotInAFileTooShortToHoldOne)
{
    EXPECT_EQ(signatureIn("").status, errSecCSUnsigned);
    EXPECT_EQ(signatureIn(ending.substr(ending.size() - 15)).status, errSecCSUnsigned);
}

TEST(AppendedSignature, IsNotInAFileThatEndsOtherwise)
{
    EXPECT_EQ(signatureIn(signedText + ending + "\n").status, errSecCSUnsigned);
    EXPECT_EQ(signatureIn(std::string(4096, '\0')).status, errSecCSUnsigned);
}

TEST(AppendedSignature, MaySignNothing)
{
    const auto signature = signatureIn(ending);

    EXPECT_EQ(signature.status, errSecSuccess);
    EXPECT_EQ(signature.object.signedSize, 0U);
}

TEST(AppendedSignature, IsMalformedWhenItsLengthIsZero)
{
    EXPECT_EQ(statusWithLength(std::string(8, '\0')), errSecCSSignatureMalformed);
}

TEST(AppendedSignature, IsMalformedWhenItIsLongerThanTheFile)
{
    const auto one = static_cast<char>(signedText.size() + 3 + 1);

    EXPECT_EQ(statusWithLength(one + std::string(7, '\0')), errSecCSSignatureMalformed);
    EXPECT_EQ(statusWithLength(std::string(8, '\xFF')), errSecCSSignatureMalformed);
    EXPECT_EQ(statusWithLength(std::string(7, '\0') + "\x80"), errSecCSSignatureMalformed);
}

TEST(AppendedSignature, IsMalformedWhenItIsLongerThanAMegabyte)
{
    const std::string der((std::size_t{1} << 20) + 1, 'x');

    EXPECT_EQ(signatureIn(withSignature("", der)).status, errSecCSSignatureMalformed);
    EXPECT_EQ(signatureIn(withSignature("", der.substr(1))).status, errSecSuccess);
}

TEST(AppendedSignature, IsNotLookedForInAFileOfMoreThan256Megabytes)
{
    const TemporaryFolder folder;
    folder.write("file", "");
    ASSERT_EQ(::truncate(folder.file("file").c_str(), (off_t{256} << 20) + 1), 0);
    const Fd file{::open(folder.file("file").c_str(), O_RDONLY | O_CLOEXEC)};

    EXPECT_EQ(AppendedSignature::read(file.get()).status, errSecCSCodeTooLarge);
}

TEST(AppendedSignature, CannotBeReadFromWhatIsNoPlainFile)
{
    const Fd folder{::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};

    EXPECT_EQ(AppendedSignature::read(folder.get()).status, errSecCSCodeUnreadable);
    EXPECT_EQ(AppendedSignature::read(-1).status, errSecCSCodeUnreadable);
}

TEST(AppendedSignature, CannotBeReadThroughADescriptorForWriting)
{
    const TemporaryFolder folder;
    folder.write("file", signedText + ending);
    const Fd file{::open(folder.file("file").c_str(), O_WRONLY | O_CLOEXEC)};

    EXPECT_EQ(AppendedSignature::read(file.get()).status, errSecCSCodeUnreadable);
}

} // namespace
} // namespace veltra
