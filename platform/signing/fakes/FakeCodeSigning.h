#pragma once

#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/SecCertificate.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace veltra {

/// Code-signing services without files and processes, for tests of the code that uses them: only
/// the code that a test puts into the fields exists. For one thread.
class FakeCodeSigning : public CodeSigningServices {
  public:
    struct Code {
        OSStatus validity = errSecSuccess;
        /// What SecCodeCopySigningInformation returns.
        std::any information = SecDictionary{};
    };

    /// Valid code with these certificates.
    [[nodiscard]] static Code signedBy(std::vector<SecCertificate> certificates);

    Code self;
    std::map<std::int32_t, Code> guests;
    std::map<std::filesystem::path, Code> files;

    /// Calls, by name, that always return this status.
    std::map<std::string, OSStatus> failing;
    /// Calls, by name, that succeed but return nothing.
    std::set<std::string> empty;
    /// The texts for statuses other than the system's own.
    std::map<OSStatus, std::string> texts;

    /// The calls so far, except for texts, each with its flags: "SecCodeCopySelf 0".
    [[nodiscard]] const std::vector<std::string>& calls() const noexcept { return calls_; }

    [[nodiscard]] SecOutcome<SecCodeRef> SecCodeCopySelf(SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecCodeRef>
    SecCodeCopyGuestWithAttributes(const SecCode* host, const SecDictionary& attributes,
                                   SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecStaticCodeRef>
    SecCodeCopyStaticCode(const SecCode& code, SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecStaticCodeRef>
    SecStaticCodeCreateWithPath(const std::filesystem::path& path, SecCSFlags flags) const override;
    [[nodiscard]] OSStatus SecStaticCodeCheckValidity(const SecStaticCode& code,
                                                      SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<std::any>
    SecCodeCopySigningInformation(const SecStaticCode& code, SecCSFlags flags) const override;
    [[nodiscard]] std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const override;

  private:
    OSStatus begin(const std::string& call, SecCSFlags flags) const;
    template <typename Made, typename T>
    SecOutcome<T> answer(const std::string& call, SecCSFlags flags, const Code* code,
                         OSStatus whenMissing) const;

    mutable std::vector<std::string> calls_;
};

} // namespace veltra
