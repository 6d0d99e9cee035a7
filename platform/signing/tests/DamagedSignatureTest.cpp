// Damages a signed file in thousands of ways, the same ones in every run. The result must always be
// a status that has a text, and success only if the damage is in nothing that is signed.

#include "platform/base/tests/FileInMemory.h"
#include "platform/signing/CodeSignature.h"
#include "platform/signing/tests/CraftedSignature.h"
#include "platform/signing/tests/SignedFile.h"
#include "platform/signing/tests/SigningChain.h"

#include <cstddef>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

constexpr std::size_t trailerSize = 16;

class DamagedSignature : public testing::Test {
  protected:
    DamagedSignature()
    {
        if (check(bytes_) != errSecSuccess)
            throw std::runtime_error{"the whole file is not valid"};
    }

    /// The status of a file that contains `bytes`.
    [[nodiscard]] OSStatus check(std::string_view bytes) const
    {
        file_.write(bytes);
        return CodeSignature::check(file_.descriptor());
    }

    /// The certificates in the file that was checked last.
    [[nodiscard]] std::vector<SecCertificate> certificates() const
    {
        const auto signature = CodeSignature::read(file_.descriptor());
        return signature.object ? signature.object->certificates() : std::vector<SecCertificate>{};
    }

    /// A status that the services have a text for, other than success.
    void expectFailure(std::string_view bytes, std::size_t where) const
    {
        const OSStatus status = check(bytes);

        EXPECT_NE(status, errSecSuccess) << "damaged at " << where;
        EXPECT_TRUE(codeSigningText(status)) << "status " << status << ", damaged at " << where;
    }

    [[nodiscard]] char otherThan(char byte)
    {
        return static_cast<char>(byte ^ std::uniform_int_distribution<>{1, 255}(random_));
    }

    [[nodiscard]] std::size_t below(std::size_t end)
    {
        return std::uniform_int_distribution<std::size_t>{0, end - 1}(random_);
    }

    const std::string content_ = "\x7F"
                                 "ELF" +
                                 std::string(1000, 'c');
    const std::string der_ = craftSignature(content_, {});
    const std::string bytes_ = withSignature(content_, der_);

  private:
    FileInMemory file_;
    std::mt19937 random_{20240305};
};

/// Where a signature may be changed without changing its meaning: in the two version numbers, and
/// in the name that refers to the signer's certificate, where for example upper and lower case make
/// no difference.
class UnsignedParts {
  public:
    explicit UnsignedParts(const std::string& der)
    {
        X509* const signer = sharedChain().signer.certificate.get();
        const auto name = derOf<&i2d_X509_NAME>(X509_get_issuer_name(signer));
        const std::string version = "\x02\x01\x01";
        version_ = der.find(version) + 2;
        reference_ = der.rfind(std::string{name.begin(), name.end()});
        referenceEnd_ = reference_ + name.size();
        // Before the reference are the other version and the header that contains both.
        signersVersion_ = reference_ - 3;
        if (der.substr(signersVersion_ - 2, 3) != version)
            throw std::runtime_error{"the signature looks otherwise"};
    }

    [[nodiscard]] bool contain(std::size_t position) const noexcept
    {
        return position == version_ || position == signersVersion_ ||
               (position >= reference_ && position < referenceEnd_);
    }

  private:
    std::size_t version_;
    std::size_t signersVersion_;
    std::size_t reference_;
    std::size_t referenceEnd_;
};

TEST_F(DamagedSignature, IsNotValidWithAChangedByteInWhatIsSigned)
{
    for (std::size_t i = 0; i < content_.size(); ++i) {
        std::string damaged = bytes_;
        damaged[i] = otherThan(damaged[i]);

        EXPECT_EQ(check(damaged), errSecCSSignatureFailed) << "damaged at " << i;
    }
}

TEST_F(DamagedSignature, IsNotValidWithAChangedByteInTheDerSaveInWhatIsNotSigned)
{
    const UnsignedParts unsignedParts{der_};
    for (std::size_t i = 0; i < der_.size(); ++i)
        for (int times = 0; times < 2; ++times) {
            std::string damaged = bytes_;
            damaged[content_.size() + i] = otherThan(damaged[content_.size() + i]);

            if (!unsignedParts.contain(i))
                expectFailure(damaged, i);
            else
                EXPECT_TRUE(check(damaged) != errSecSuccess ||
                            certificates() == sharedChain().certificates())
                    << "damaged at " << i;
        }
}

TEST_F(DamagedSignature, IsNotValidWithAnyOtherByteInTheLengthOrTheMark)
{
    for (std::size_t i = bytes_.size() - trailerSize; i < bytes_.size(); ++i)
        for (int other = 1; other < 256; ++other) {
            std::string damaged = bytes_;
            damaged[i] = static_cast<char>(damaged[i] ^ other);

            expectFailure(damaged, i);
        }
}

TEST_F(DamagedSignature, IsNotValidWhenTheFileIsCutShortAnywhere)
{
    for (std::size_t size = 0; size < bytes_.size(); ++size)
        EXPECT_EQ(check(std::string_view{bytes_}.substr(0, size)), errSecCSUnsigned);
}

TEST_F(DamagedSignature, IsMalformedWhenTheDerIsCutShortAnywhere)
{
    for (std::size_t size = 0; size < der_.size(); ++size)
        EXPECT_EQ(check(withSignature(content_, der_.substr(0, size))), errSecCSSignatureMalformed);
}

TEST_F(DamagedSignature, IsNotValidWhenBytesAreMissingAnywhere)
{
    for (int times = 0; times < 1000; ++times) {
        const std::size_t where = below(bytes_.size() - trailerSize);
        std::string damaged = bytes_;
        damaged.erase(where, 1 + below(64));

        expectFailure(damaged, where);
    }
}

TEST_F(DamagedSignature, IsNotValidWhenBytesAreAddedAnywhere)
{
    for (int times = 0; times < 1000; ++times) {
        const std::size_t where = below(bytes_.size() + 1);
        std::string damaged = bytes_;
        damaged.insert(where, 1 + below(64), otherThan('\0'));

        expectFailure(damaged, where);
    }
}

TEST_F(DamagedSignature, IsNotValidWithALengthThatLies)
{
    for (std::size_t length = 0; length < bytes_.size() + 100; ++length)
        if (length != der_.size()) {
            std::string damaged = bytes_;
            damaged[bytes_.size() - trailerSize] = static_cast<char>(length & 0xFF);
            damaged[bytes_.size() - trailerSize + 1] = static_cast<char>(length >> 8);

            expectFailure(damaged, length);
        }
}

TEST_F(DamagedSignature, IsMalformedWhenItIsNoise)
{
    for (int times = 0; times < 2000; ++times) {
        std::string noise(1 + below(300), '\0');
        for (char& byte : noise)
            byte = otherThan('\0');
        // So that the parser gets past the first byte.
        noise.front() = '\x30';

        EXPECT_EQ(check(withSignature(content_, noise)), errSecCSSignatureMalformed);
    }
}

TEST_F(DamagedSignature, IsNotValidWithSeveralChangedBytesInTheDer)
{
    for (int times = 0; times < 1000; ++times) {
        std::string damaged = bytes_;
        // The last part is the signature's value, which must match.
        damaged[content_.size() + der_.size() - 1] ^= 1;
        for (std::size_t more = 1 + below(8); more > 0; --more) {
            char& byte = damaged[content_.size() + below(der_.size() - 1)];
            byte = otherThan(byte);
        }

        expectFailure(damaged, static_cast<std::size_t>(times));
    }
}

} // namespace
} // namespace veltra
