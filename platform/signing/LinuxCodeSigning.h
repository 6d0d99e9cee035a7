#pragma once

#include "platform/base/Fd.h"
#include "platform/signing/CodeSigningServices.h"

#include <cstdint>
#include <optional>

namespace veltra {

/// Code signing by what stands at the end of an executable; see CodeSignature.
///
/// An executable is opened once, and everything about it is read from that descriptor, so that it
/// is the running program's own file also where another one has taken its path since. Reading
/// another user's /proc/PID/exe needs CAP_SYS_PTRACE; see proc(5).
class LinuxCodeSigning : public CodeSigningServices {
  public:
    /// A process that somebody has pinned already, with its executable open for reading.
    struct PinnedGuest {
        std::int32_t pid;
        const Fd& executable;
    };

    /// Looks for guests among the running processes.
    LinuxCodeSigning() = default;

    /// Knows this guest and no other, and reads its executable from the descriptor, which must
    /// outlive the services and the code that they give out.
    explicit LinuxCodeSigning(PinnedGuest guest) : guest_{guest} {}

    [[nodiscard]] SecOutcome<SecCodeRef> SecCodeCopySelf(SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecCodeRef>
    SecCodeCopyGuestWithAttributes(const SecCode* host, const SecDictionary& attributes,
                                   SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecStaticCodeRef>
    SecCodeCopyStaticCode(const SecCode& code, SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecStaticCodeRef>
    SecStaticCodeCreateWithPath(const std::filesystem::path& path, SecCSFlags flags) const override;

    /// With kSecCSCheckNestedCode, each executable of the bundle that the code stands in must be
    /// signed and be what was signed, by whomever.
    [[nodiscard]] OSStatus SecStaticCodeCheckValidity(const SecStaticCode& code,
                                                      SecCSFlags flags) const override;

    /// The certificates come from the signature that the validity check checks, even if the file
    /// changes in between.
    [[nodiscard]] SecOutcome<std::any>
    SecCodeCopySigningInformation(const SecStaticCode& code, SecCSFlags flags) const override;
    [[nodiscard]] std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const override;

  private:
    std::optional<PinnedGuest> guest_;
};

} // namespace veltra
