#pragma once

#include "platform/signing/CodeSigningStatus.h"

#include <any>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace veltra {

/// The code of a running program, as an object of the services that created it.
class SecCode {
  public:
    SecCode() = default;
    SecCode(const SecCode&) = delete;
    SecCode& operator=(const SecCode&) = delete;
    virtual ~SecCode() = default;
};

/// Code on disk, as an object of the services that created it.
class SecStaticCode {
  public:
    SecStaticCode() = default;
    SecStaticCode(const SecStaticCode&) = delete;
    SecStaticCode& operator=(const SecStaticCode&) = delete;
    virtual ~SecStaticCode() = default;
};

using SecCodeRef = std::shared_ptr<const SecCode>;
using SecStaticCodeRef = std::shared_ptr<const SecStaticCode>;

/// A dictionary from text keys to values of any kind.
using SecDictionary = std::map<std::string, std::any>;

using SecCSFlags = std::uint32_t;

/// For SecStaticCodeCheckValidity: do not check resources. The services never check resources, so
/// the flag changes nothing.
inline constexpr SecCSFlags kSecCSDoNotValidateResources = 4;
/// For SecStaticCodeCheckValidity: also check each executable nested in the bundle.
inline constexpr SecCSFlags kSecCSCheckNestedCode = 8;
/// For SecCodeCopySigningInformation: the contents of the signature, above all its certificates.
inline constexpr SecCSFlags kSecCSSigningInformation = 2;

/// A guest's process identifier, a std::int32_t.
inline constexpr const char* kSecGuestAttributePid = "pid";
/// A signature's certificates, a std::vector<SecCertificate>: the signer's own first, then its
/// issuers up to the anchor.
inline constexpr const char* kSecCodeInfoCertificates = "certificates";
/// The number of signed bytes of the file, a std::uint64_t.
inline constexpr const char* kSecCodeInfoSignedSize = "signed size";

/// Code signatures: whose code runs, whether it is what was signed, and who signed it.
///
/// All functions may be called from any thread; they read files and may take long. A code object is
/// valid only for the services that created it.
class CodeSigningServices {
  public:
    CodeSigningServices() = default;
    CodeSigningServices(const CodeSigningServices&) = delete;
    CodeSigningServices& operator=(const CodeSigningServices&) = delete;
    virtual ~CodeSigningServices() = default;

    /// The code of the calling process.
    [[nodiscard]] virtual SecOutcome<SecCodeRef> SecCodeCopySelf(SecCSFlags flags) const = 0;

    /// The code of the process described by `attributes`. The only host is the system, so `host`
    /// must be null.
    [[nodiscard]] virtual SecOutcome<SecCodeRef>
    SecCodeCopyGuestWithAttributes(const SecCode* host, const SecDictionary& attributes,
                                   SecCSFlags flags) const = 0;

    /// The code on disk that running code was started from.
    [[nodiscard]] virtual SecOutcome<SecStaticCodeRef>
    SecCodeCopyStaticCode(const SecCode& code, SecCSFlags flags) const = 0;

    /// The executable, or the bundle's main executable, at `path`.
    [[nodiscard]] virtual SecOutcome<SecStaticCodeRef>
    SecStaticCodeCreateWithPath(const std::filesystem::path& path, SecCSFlags flags) const = 0;

    /// Succeeds if the code is signed and is what was signed.
    [[nodiscard]] virtual OSStatus SecStaticCodeCheckValidity(const SecStaticCode& code,
                                                              SecCSFlags flags) const = 0;

    /// What is known about the signature: a SecDictionary, or whatever else the services return;
    /// empty if they returned nothing. It does not say whether the code is valid.
    [[nodiscard]] virtual SecOutcome<std::any>
    SecCodeCopySigningInformation(const SecStaticCode& code, SecCSFlags flags) const = 0;

    /// The text for a status; empty if there is none.
    [[nodiscard]] virtual std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const = 0;
};

} // namespace veltra
