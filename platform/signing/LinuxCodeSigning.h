#pragma once

#include "platform/base/Fd.h"
#include "platform/signing/CodeSigningServices.h"

#include <cstdint>
#include <optional>

namespace veltra {

/// Code signing by signatures at the end of executables; see CodeSignature.
///
/// An executable is opened once, and everything about it is read from that descriptor. So it is the
/// running program's own file even if another file has replaced it since. Reading another user's
/// /proc/PID/exe needs CAP_SYS_PTRACE; see proc(5).
class LinuxCodeSigning : public CodeSigningServices {
  public:
    /// A process that has already been pinned, with its executable open for reading.
    struct PinnedGuest {
        std::int32_t pid;
        const Fd& executable;
    };

    /// Looks for guests among the running processes.
    LinuxCodeSigning() = default;

    /// Knows only this guest and reads its executable from the descriptor, which must outlive the
    /// services and the code objects that they create.
    explicit LinuxCodeSigning(PinnedGuest guest) : guest_{guest} {}

    [[nodiscard]] SecOutcome<SecCodeRef> SecCodeCopySelf(SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecCodeRef>
    SecCodeCopyGuestWithAttributes(const SecCode* host, const SecDictionary& attributes,
                                   SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecStaticCodeRef>
    SecCodeCopyStaticCode(const SecCode& code, SecCSFlags flags) const override;
    [[nodiscard]] SecOutcome<SecStaticCodeRef>
    SecStaticCodeCreateWithPath(const std::filesystem::path& path, SecCSFlags flags) const override;

    /// With kSecCSCheckNestedCode, each executable of the bundle that contains the code must also
    /// be signed, by anybody, and be what was signed.
    [[nodiscard]] OSStatus SecStaticCodeCheckValidity(const SecStaticCode& code,
                                                      SecCSFlags flags) const override;

    /// The certificates come from the same signature that the validity check verifies, even if the
    /// file changes in between.
    [[nodiscard]] SecOutcome<std::any>
    SecCodeCopySigningInformation(const SecStaticCode& code, SecCSFlags flags) const override;
    [[nodiscard]] std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const override;

  private:
    std::optional<PinnedGuest> guest_;
};

} // namespace veltra
