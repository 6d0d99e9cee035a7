#include "platform/base/tests/FileBytes.h"
#include "platform/base/tests/FileInMemory.h"
#include "platform/signing/CodeSignature.h"
#include "platform/signing/CodeSigningStatus.h"
#include "tests/fuzz/FuzzTarget.h"

#include <stdexcept>

namespace veltra::fuzz {

namespace {

/// What veltra-codesign has signed. Nobody has the key, so no other file may count as signed.
struct SignedFile {
    SignedFile()
    {
        const std::string bytes = bytesOf(VELTRA_FUZZ_SEEDS "/signed");
        const FileInMemory file;
        file.write(bytes);
        const auto signature = CodeSignature::read(file.descriptor()).object;
        if (!signature)
            throw std::runtime_error{"this file carries no signature"};
        content = bytes.substr(0, signature->signedSize());
        certificates = signature->certificates();
    }

    std::string content;
    std::vector<SecCertificate> certificates;
};

} // namespace

Outcome read(const std::string& bytes)
{
    static const SignedFile whole;
    static const FileInMemory file;
    file.write(bytes);
    const OSStatus status = CodeSignature::check(file.descriptor());
    if (status != errSecSuccess)
        return codeSigningText(status) ? Outcome::refused : Outcome::broken;
    const auto signature = CodeSignature::read(file.descriptor()).object;
    const bool isTheSame = signature && signature->signedSize() == whole.content.size() &&
                           bytes.starts_with(whole.content) &&
                           signature->certificates() == whole.certificates;
    return isTheSame ? Outcome::good : Outcome::broken;
}

std::vector<std::string> pieces()
{
    return {std::string("\x30\x80", 2),
            std::string("\x30\x84\xFF\xFF\xFF\xFF", 6),
            std::string("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02", 11),
            std::string("\0\0", 2),
            std::string("\xA0\x82\x01\0", 4),
            "\x31\x82\x7F",
            "\xF7VxSign\n"};
}

} // namespace veltra::fuzz
