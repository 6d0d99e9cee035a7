#pragma once

#include "platform/base/Fd.h"
#include "platform/base/tests/FileBytes.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/signing/AppendedSignature.h"
#include "platform/signing/CodeSignature.h"
#include "platform/signing/CodeSigner.h"
#include "platform/signing/tests/SigningChain.h"

#include <stdexcept>
#include <string>

#include <fcntl.h>

namespace veltra {

/// Signs the file as the owner of the chain's key would.
inline void signFile(const std::string& path, const SigningChain& chain = sharedChain())
{
    const TemporaryFolder pems;
    chain.write(pems);
    const auto signer = CodeSigner::open(pems.file("key.pem"), pems.file("chain.pem"));
    if (!signer)
        throw std::runtime_error{signer.error().message()};
    if (const auto result = signer.value().sign(path); !result)
        throw std::runtime_error{result.error().message()};
}

inline OSStatus statusOf(const std::string& path)
{
    const Fd file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    return CodeSignature::check(file.get());
}

/// The certificates in a file's signature, whether or not it is valid; none if it cannot be read.
inline std::vector<SecCertificate> certificatesIn(const std::string& path)
{
    const Fd file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    const auto signature = CodeSignature::read(file.get());
    return signature.object ? signature.object->certificates() : std::vector<SecCertificate>{};
}

/// The signature at the end of a signed file, in DER.
inline std::string derOf(const std::string& path)
{
    const Fd file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    const auto der = AppendedSignature::read(file.get()).object.der;
    return {der.begin(), der.end()};
}

/// `content` with `der` as its signature, as bytes of a file.
inline std::string withSignature(const std::string& content, const std::string& der)
{
    return content + AppendedSignature::ending(
                         {reinterpret_cast<const unsigned char*>(der.data()), der.size()});
}

} // namespace veltra
